local parts = {}
for i = 1, 40 do
  parts[i] = "item" .. i
end
local text = table.concat(parts, ",")
local length, out = 0, ""
for _ = 1, 100000 do
  local kept = {}
  for item in text:gmatch("[^,]+") do
    if item ~= "item20" then
      kept[#kept + 1] = item
    end
  end
  out = table.concat(kept, ",")
  length = (length + #out) % 1000003
end
print(out)
print(length)
