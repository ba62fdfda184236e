local count = {}
for line in io.lines(arg[1]) do
  local key = line:match("^[^,]*,([^,]*)")
  count[key] = (count[key] or 0) + 1
end
local keys = {}
for key in pairs(count) do
  keys[#keys + 1] = key
end
table.sort(keys)
for _, key in ipairs(keys) do
  print(key .. " " .. count[key])
end
