# The C blocks of the pages as one program that runs each of them as a function: awk -f page_blocks.awk PAGE...
#
# A block ```c stands in a function between the text of the comment `<!-- given: ... -->` before it and that of the comment
# `<!-- then: ... -->` behind it, which checks results, releases handles and returns 0. `<!-- before: ... -->` stands in
# front of the function. A block with a main function of its own is a program, which other tests build.
BEGIN {
    print "#include <sorvane.h>\n\n#include <math.h>\n#include <stdio.h>\n#include <stdlib.h>\n#include <string.h>\n"
}
function fail(text) {
    printf "#error %s:%d: %s\n", FILENAME, FNR, text
    printf "%s:%d: %s\n", FILENAME, FNR, text > "/dev/stderr"
}
/^<!-- before:$/ { mode = "before"; next }
/^<!-- given:$/ {
    if (pending) fail("the block before has no <!-- then: -->")
    mode = "given"; given = ""; hasGiven = 1; next
}
/^<!-- then:$/ { mode = "then"; after = ""; next }
/^-->$/ {
    if (mode == "then") {
        if (!pending) fail("<!-- then: --> without a block")
        printf "static int block_%d(void) /* %s:%d */\n{\n%s%s%s}\n\n", ++count, FILENAME, line, given, block, after
        pending = 0; hasGiven = 0
    }
    mode = ""; next
}
/^```c$/ { mode = "block"; block = ""; line = FNR; next }
/^```$/ {
    if (mode == "block" && block !~ /int main\(/) {
        if (!hasGiven) fail("a block without <!-- given: -->")
        pending = 1
    }
    mode = ""; next
}
mode == "before" { print; next }
mode == "given" { given = given $0 "\n" }
mode == "block" { block = block $0 "\n" }
mode == "then" { after = after $0 "\n" }
END {
    if (pending) fail("the last block has no <!-- then: -->")
    print "int main(void)\n{\n    int failed = 0;"
    for (i = 1; i <= count; ++i) {
        printf "    if (block_%d() != 0) {\n        printf(\"block %d failed\\n\");\n        failed = 1;\n    }\n", i, i
    }
    printf "    printf(\"%d blocks\\n\");\n    return failed;\n}\n", count
}
