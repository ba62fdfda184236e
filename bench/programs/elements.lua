local task = ...
local elements = {}
for i = 0, 999999 do
  elements[#elements + 1] = i
end
if task == "FILL" then
  print(elements[#elements])
elseif task == "READ" then
  local sum = 0
  for _ = 1, 10 do
    for _, element in ipairs(elements) do
      sum = (sum + element) % 1000003
    end
  end
  print(sum)
elseif task == "BY_NUMBER" then
  local sum = 0
  for _ = 1, 10 do
    for i = 1, 1000000 do
      sum = (sum + elements[i]) % 1000003
    end
  end
  print(sum)
elseif task == "QUEUE" then
  -- table.remove at the front would move all others: a queue counts instead.
  local first, last = 1, #elements
  for i = 0, 9999999 do
    last = last + 1
    elements[last] = i
    elements[first] = nil
    first = first + 1
  end
  print(last - first + 1 .. " " .. elements[first])
elseif task == "REMOVE" then
  local first, last = 1, #elements
  while first <= last do
    elements[first] = nil
    first = first + 1
  end
  print(last - first + 1)
elseif task == "PREPEND" then
  local others, first = {}, 1
  for i = 0, 999999 do
    first = first - 1
    others[first] = i
  end
  print(others[first])
end
