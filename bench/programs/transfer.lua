local north = assert(io.open(arg[2] .. "/north", "w"))
local south = assert(io.open(arg[2] .. "/south", "w"))
local out = { north = north, south = south }
for line in io.lines(arg[1]) do
  local id, key, region = line:match("^([^,]*),([^,]*),([^,]*)")
  local file = out[region]
  if file then
    file:write(id, ",", key, "\n")
  end
end
north:close()
south:close()
print("status 0")
