# EastAsianWidth.txt -> the ranges of wide characters (W and F: UAX #11) in ascending order.
BEGIN {
    FS = "[; ]"
    print "#pragma once\n\nnamespace tovlark {\n"
    print "struct WideRange {\n    char32_t first, last;\n};\n"
    print "inline constexpr WideRange kWideCharacters[] = {"
}
/^[0-9A-F.]+ *; *[WF]/ {
    count = split($1, ends, /\.\./)
    printf "    {0x%s, 0x%s},\n", ends[1], ends[count]
}
END { print "};\n\n}  // namespace tovlark" }
