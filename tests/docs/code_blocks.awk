# The C++ blocks of the pages as one source file that tests compile, link and run.
#
#   - A block is the body of a function, in a scope of its own, with `using namespace` for Velk::Math and
#     Velk::Math::Sorvane. It may declare types.
#   - What a block takes for granted stands before it in a comment that pages do not show:
#         <!-- given:
#         std::vector<Vec3d> points;
#         -->
#   - `#include` lines of either go to the top of the file.
#   - A block with a function of its own, `int main(` as a rule, is a program: it is compiled as it stands,
#     in a namespace, and not run.
#
# Usage: awk -f code_blocks.awk PAGE...

/^<!-- given:/ { inGiven = 1; given = ""; next }
inGiven && /^-->/ { inGiven = 0; next }
inGiven { given = given Kept($0); next }

/^```cpp *$/ { inBlock = 1; block = ""; isProgram = 0; line = FNR + 1; next }
inBlock && /^```/ {
    inBlock = 0
    ++count
    start[count] = line
    page[count] = FILENAME
    program[count] = isProgram
    body[count] = given "#line " line " \"" FILENAME "\"\n" block
    given = ""
    next
}
inBlock {
    isProgram = isProgram || /^int main\(/
    block = block Kept($0)
}
# A given comment serves the block right behind it.
!inBlock && !/^ *$/ { given = "" }

END {
    print "#include <Sorvane/Sorvane_E.h>"
    print "#include \"tests/docs/CodeBlocks.h\""
    printf "%s", includes
    for (i = 1; i <= count; ++i) {
        print "namespace {"
        if (program[i]) {
            print "namespace Program" i " {\n" body[i] "}"
            print "[[maybe_unused]] auto* const main" i " = &Program" i "::main;"
            print "const bool isRegistered" i " = CodeBlocks::Register(\"" page[i] "\", " start[i] ", nullptr);"
        } else {
            print "void Block" i "()\n{\nusing namespace Velk::Math;\nusing namespace Velk::Math::Sorvane;\n" body[i] "}"
            print "const bool isRegistered" i " = CodeBlocks::Register(\"" page[i] "\", " start[i] ", Block" i ");"
        }
        print "} // namespace"
    }
}

# The line with its end, or nothing for an include, which is kept for the top.
function Kept(text) {
    if (text ~ /^#include/) {
        includes = includes text "\n"
        return "\n"
    }
    return text "\n"
}
