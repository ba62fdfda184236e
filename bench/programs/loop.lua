local var = { i = 0, sum = 0 }
while var.i < 10000000 do
  var.i = var.i + 1
  var.sum = (var.sum + var.i) % 1000003
end
print(var.sum)
