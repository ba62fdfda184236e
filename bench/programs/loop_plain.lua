local i, sum = 0, 0
while i < 10000000 do
  i = i + 1
  sum = (sum + i) % 1000003
end
print(sum)
