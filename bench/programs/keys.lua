local task = ...

local function put_all(keys)
  local k = 7
  for _ = 1, 1000000 do
    keys["K" .. k] = k
    k = (k * 2021 + 77777) % 1000000
  end
  return k
end

local keys = {}
local k = put_all(keys)
if task == "FILL" then
  print(keys.K7)
elseif task == "FIND" then
  local sum = 0
  for _ = 1, 1000000 do
    sum = (sum + keys["K" .. k]) % 1000003
    k = (k * 1021 + 33331) % 1000000
  end
  print(sum)
elseif task == "SCAN" then
  local sum = 0
  for _ = 1, 10 do
    for key, value in pairs(keys) do
      sum = (sum + value + #key) % 1000003
    end
  end
  print(sum)
elseif task == "SORT" then
  local order = {}
  for key in pairs(keys) do
    order[#order + 1] = key
  end
  table.sort(order)
  print(keys[order[1]] .. " " .. keys[order[2]] .. " " .. keys[order[3]])
elseif task == "REMOVE" then
  for _ = 1, 1000000 do
    keys["K" .. k] = nil
    k = (k * 2021 + 77777) % 1000000
  end
  print(next(keys) and "FALSE" or "TRUE")
elseif task == "REMOVE_MIXED" then
  for _ = 1, 1000000 do
    keys["K" .. k] = nil
    k = (k * 1021 + 33331) % 1000000
  end
  print(next(keys) and "FALSE" or "TRUE")
elseif task == "REFILL" then
  keys = {}
  put_all(keys)
  print(keys.K7)
end
