BEGIN { FS = "," }
{ count[$2]++ }
END {
    n = asorti(count, keys)
    for (i = 1; i <= n; i++)
        print keys[i], count[keys[i]]
}
