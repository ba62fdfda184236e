local length, out = 0, ""
for i = 0, 499999 do
  local record = i .. ",widget,north,12.50,2026-11-22,first of the month"
  local id, key, region, price, date, note =
    record:match("([^,]*),([^,]*),([^,]*),([^,]*),([^,]*),([^,]*)")
  out = region .. "," .. id .. "," .. date .. "," .. key .. "," .. note .. "," .. price
  length = (length + #out) % 1000003
end
print(out)
print(length)
