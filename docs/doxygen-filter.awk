#!/usr/bin/awk -f
# Turns the headers' plain comments into those that Doxygen reads:
#   // text                             in front of something: /// text
#   code;  // text, and what follows    code;  ///< text
#   //   name  text                     an argument: \param
#   // ---- Title. text                 inside a class: a group of members with that name
# and likewise the comments of C. The first comment is that of the file.
function Documented(line) {
    if (line ~ /^ *\/\/   [a-z][A-Za-z]*  /) sub(/\/\/  /, "// \\param", line)
    sub(/\/\//, "///", line)
    return line
}
function Trailing(line, opening) { return substr(line, 1, RSTART) opening substr(line, RSTART + 3) }
function EndGroup() {
    if (inGroup) print "///@}"
    inGroup = 0
}

FNR == 1 { sub(/^\/\/ /, "/// \\file\n/// "); sub(/^\/\* /, "/** \\file\n * ") }
/^class |^struct / { inClass = 1 }
/^};/ { EndGroup(); inClass = 0 }
inTitle && !/^ *\/\// { print " */\n///@{\n"; inTitle = 0 }
inTitle { sub(/\/\//, " *"); print; next }
/^ *\/\/ ---- / {
    if (!inClass) { print; next }
    EndGroup()
    sub(/\/\/ ---- /, "/** \\name ")
    if (match($0, /[.,:] /)) $0 = substr($0, 1, RSTART - 1) "\n * " substr($0, RSTART + 2)
    print
    inGroup = inTitle = 1
    next
}
# What stands far to the right goes on with the comment of the line above.
/^ *\/\/( |$)/ { print trailing && /^                    / ? "///<" substr($0, index($0, "//") + 2) : Documented($0); next }
match($0, /[;,{] *\/\/ /) { match($0, / \/\/ /); print Trailing($0, "///<"); trailing = 1; next }
/^ *\/\* / && !/ ----/ { sub(/\/\*/, "/**") }
match($0, /[;,] *\/\* /) { match($0, / \/\* /); $0 = Trailing($0, "/**<") }
{ trailing = 0; print }
