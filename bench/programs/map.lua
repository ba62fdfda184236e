local map = {}
for i = 0, 399999 do
  map["key" .. i] = i
end
local sum = 0
for i = 0, 399999 do
  sum = (sum + map["key" .. i]) % 1000003
end
print(sum)
