local task = ...
local places = {[0] = "Ashford", "Brookfield", "Cedar Hill", "Dunmore", "Eastbridge", "Fairview", "Greenville",
  "Harborough", "Kingsley", "Lakewood", "Millbrook", "Northfield", "Oakdale", "Riverside", "Springfield", "Westport"}

local keys = {}
local k = 7
for _ = 1, 1000000 do
  keys[places[k % 16] .. "-" .. k] = k
  k = (k * 2021 + 77777) % 1000000
end
if task == "FILL" then
  print(keys["Harborough-7"])
elseif task == "FIND" then
  local sum = 0
  for _ = 1, 1000000 do
    sum = (sum + keys[places[k % 16] .. "-" .. k]) % 1000003
    k = (k * 1021 + 33331) % 1000000
  end
  print(sum)
elseif task == "REMOVE_MIXED" then
  for _ = 1, 1000000 do
    keys[places[k % 16] .. "-" .. k] = nil
    k = (k * 1021 + 33331) % 1000000
  end
  print(next(keys) and "FALSE" or "TRUE")
end
