local task = ...
local records = {}
local k = 7
for _ = 1, 1000000 do
  records["K" .. k] = {k, "name" .. k, "north", k * 0.5}
  k = (k * 2021 + 77777) % 1000000
end
if task == "FILL" then
  print(table.concat(records.K7, " "))
elseif task == "FIND" then
  local sum = 0
  for _ = 1, 1000000 do
    local id, name, region, price = table.unpack(records["K" .. k])
    sum = (sum + id) % 1000003
    k = (k * 1021 + 33331) % 1000000
  end
  print(sum)
elseif task == "SCAN" then
  local sum = 0
  for _, record in pairs(records) do
    local id, name, region, price = table.unpack(record)
    sum = (sum + id) % 1000003
  end
  print(sum)
end
