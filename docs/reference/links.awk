# Public names as links: `ConvexHull` in a comment or on a guide page becomes a link to the description of
# Velk::Math::Sorvane::Bounding::ConvexHull. Functions for header.awk and page.awk.

# Reads the table of families.
function ReadFamilies(    line, field) {
    while ((getline line < "docs/reference/families.txt") > 0) {
        if (line !~ /^#/ && split(line, field, " ") == 3) {
            familyOf[field[1]] = field[2]
            guideOf[field[1]] = field[3]
            headers[++headerCount] = field[1]
        }
    }
}

# Reads the names in all public headers: at namespace scope, and the members of classes that are not
# private. Headers are formatted by clang-format, so that indentation tells scopes.
function ReadNames(    h, header, line, space, depth, class, isHidden, inBody) {
    for (h = 1; h <= headerCount; ++h) {
        header = headers[h]
        depth = 0
        space[0] = ""
        class = ""
        inBody = 0
        while ((getline line < ("Interfaces/" header)) > 0) {
            if (line ~ /^namespace [A-Za-z:]+ \{$/) {
                gsub(/^namespace | \{$/, "", line)
                space[depth + 1] = space[depth] (depth > 0 ? "::" : "") line
                ++depth
            } else if (line ~ /^} \/\/ namespace/ || (line ~ /^}$/ && !inBody)) {
                --depth
            } else if (line ~ /^\{$/) {
                inBody = 1
            } else if (line ~ /^};?$/) {
                inBody = 0
                class = ""
            } else if (line ~ /^(public|protected|private):$/) {
                isHidden = line == "private:"
            } else if (depth > 0 && space[depth] !~ /::Impl/) {
                if (class != "" && !isHidden && line ~ /^    [^ ]/) {
                    EnterName(substr(line, 5), space[depth] "::" class, header, 1)
                } else if (class == "" && line ~ /^[^ ]/) {
                    EnterName(line, space[depth], header, 0)
                    if (line ~ /^(template <.*> )?(class|struct) / && line !~ /;$/) {
                        class = declared
                        isHidden = 0
                    }
                }
            }
        }
        close("Interfaces/" header)
    }
}

# Enters the name that the line declares, if it declares one, and leaves it in `declared`.
function EnterName(line, scope, header, isMember,    name) {
    declared = ""
    if (line ~ />::|^(\/\/|#|extern |SORVANE_EXTERN|static_assert|friend |requires)/) {
        return
    }
    sub(/ *\/\/.*$/, "", line)
    sub(/^template <.*> /, "", line)
    gsub(/SORVANE_API |SORVANE_LOCAL |inline |constexpr |static |virtual |explicit /, "", line)
    if (match(line, /^(class|struct|enum class|concept) [A-Za-z]+/)) {
        name = LastWord(substr(line, 1, RLENGTH))
    } else if (match(line, /^using [A-Za-z0-9]+ =/)) {
        name = substr(line, 7, RLENGTH - 8)
    } else if (match(line, /[A-Za-z0-9]+\(/)) {
        name = substr(line, RSTART, RLENGTH - 1)
    } else if (match(line, /^[^=]* [A-Za-z0-9]+( =|\{|;)/)) {
        name = substr(line, 1, RLENGTH)
        gsub(/( =|\{|;)$/, "", name)
        name = LastWord(name)
    }
    declared = name
    if (length(name) > 1 && name ~ /[A-Z]/ && scope !~ ("::" name "$")) {
        ++candidates[name]
        qualified[name, candidates[name]] = scope "::" name
        headerOf[name, candidates[name]] = header
        memberOf[name, candidates[name]] = isMember
    }
}

function LastWord(text) {
    sub(/^.* /, "", text)
    return text
}

# Full name of what `text`, the end of one, means on a page or in a header of the given families (blanks
# around each), or "". A name of the same families comes first, there one outside of a class; elsewhere it
# must be the only one.
function Meaning(text, families,    name, i, member, elsewhere) {
    name = text
    sub(/^.*::/, "", name)
    for (i = 1; i <= candidates[name]; ++i) {
        if (("::" text) != substr(qualified[name, i], length(qualified[name, i]) - length(text) - 1)) {
            continue
        }
        if (index(families, " " familyOf[headerOf[name, i]] " ")) {
            if (!memberOf[name, i]) {
                return qualified[name, i]
            }
            member = member == "" ? qualified[name, i] : member
        } else if (!memberOf[name, i]) {
            elsewhere = elsewhere == "" || elsewhere == qualified[name, i] ? qualified[name, i] : "several"
        }
    }
    return member != "" ? member : elsewhere == "several" ? "" : elsewhere
}

# The line with every name in backticks that means something as a link, and every header.
function Linked(line, families,    result, name, full) {
    result = ""
    while (match(line, /`(#include )?<?(Sorvane|Velk)\/[A-Za-z\/0-9]+_E\.h>?`/)) {
        name = substr(line, RSTART + 1, RLENGTH - 2)
        full = name
        gsub(/^(#include )?<?|>?$/, "", full)
        gsub(/</, "\\&lt;", name)
        gsub(/>/, "\\&gt;", name)
        if (full in familyOf) {
            line = substr(line, 1, RSTART - 1) "<code>@ref " full " \"" name "\"</code>" substr(line, RSTART + RLENGTH)
        } else {
            break
        }
    }
    while (match(line, /`[A-Za-z0-9:]+`/)) {
        name = substr(line, RSTART + 1, RLENGTH - 2)
        full = Meaning(name, families)
        if (full == "") {
            result = result substr(line, 1, RSTART + RLENGTH - 1)
        } else {
            result = result substr(line, 1, RSTART - 1) "<code>@ref " full " \"" name "\"</code>"
        }
        line = substr(line, RSTART + RLENGTH)
    }
    return result line
}
