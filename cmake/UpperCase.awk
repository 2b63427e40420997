# UnicodeData.txt -> the simple upper-case mapping as a table in ascending order (field 12, counted from 0: UAX #44, table 9).
BEGIN {
    FS = ";"
    print "#pragma once\n\nnamespace tovlark {\n"
    print "struct CasePair {\n    char32_t lower, upper;\n};\n"
    print "inline constexpr CasePair kUpperCasePairs[] = {"
}
$13 != "" { printf "    {0x%s, 0x%s},\n", $1, $13 }
END { print "};\n\n}  // namespace tovlark" }
