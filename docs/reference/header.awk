# What Doxygen reads in place of a public header: the same lines, so that line numbers stay true, with
# the few marks that Doxygen needs and a reader of the header does not.
#
#   - The comment at the top becomes the description of the file.
#   - Names join the family of their header (docs/reference/families.txt).
#   - A section line, "// --- angles ------", with the comment lines under it, heads a group of members.
#   - Declarations that follow one another without a blank line or a comment share the comment of the
#     first, as they do for a reader; Doxygen is given a copy of it for each.
#   - Explicit instantiations, SORVANE_EXTERN and what stands in an `Impl` namespace are left out: they
#     name nothing that a host calls, and Doxygen takes an instantiation for one more declaration.
#   - Names in backticks become links (links.awk).
#   - Defaulted and deleted members are left out: a value type copies and compares as one expects.
#
# Headers are formatted by clang-format, so that indentation tells scopes.
#
# Usage: awk -f docs/reference/links.awk -f docs/reference/header.awk HEADER, from the root of the repository

BEGIN {
    ReadFamilies()
    ReadNames()
}

{ text[NR] = $0 }

END {
    base = FILENAME
    sub(/^.*Interfaces\//, "", base)
    family = familyOf[base]
    if (family == "") {
        print base ": error: no family; add a line to docs/reference/families.txt" > "/dev/stderr"
    }
    for (i = 1; i <= NR; ++i) {
        if (text[i] ~ /^ *\/\//) {
            text[i] = Linked(text[i], " " family " ")
        }
    }
    BlankOutInternals()
    ShareComments()
    MarkTop()
    MarkNamespaces()
    MarkSections()
    for (i = 1; i <= NR; ++i) {
        print before[i] text[i]
    }
}

function Indentation(line) {
    match(line, /^ */)
    return RLENGTH
}

# Empties the lines that no host should read about. The Impl namespace of decorations has one that hosts
# put on records, and is shown.
function BlankOutInternals(    i, inInstantiation, inMacro, inImpl) {
    for (i = 1; i <= NR; ++i) {
        if (text[i] ~ /^ *extern template /) {
            inInstantiation = 1
        } else if (text[i] ~ /^#define SORVANE_EXTERN/) {
            inMacro = 1
        } else if (text[i] ~ /^namespace Impl \{/ && base != "Sorvane/Decorations_E.h") {
            inImpl = 1
        }
        if (inInstantiation) {
            inInstantiation = text[i] !~ /;[ \\]*$/
            inMacro = inMacro && text[i] ~ /\\$/
            text[i] = ""
        } else if (inMacro) {
            inMacro = text[i] ~ /\\$/
            text[i] = ""
        } else if (inImpl) {
            inImpl = text[i] !~ /^} \/\/ namespace Impl/
            text[i] = ""
        } else if (text[i] ~ /^#undef SORVANE_EXTERN|^SORVANE_EXTERN\(|clang-format (on|off)|^ *using (typename )?Base::/ ||
                   text[i] ~ /\) (const |noexcept |override )*= (default|delete);$/) {
            text[i] = ""
        }
    }
}

# The text of a comment line; a line without any parts two paragraphs.
function CommentText(line) {
    sub(/^ *\/\/\/ ?/, "", line)
    return line == "" ? "<p>" : line " "
}

# Gives each declaration that has no comment and stands right under another one that one's comment.
function ShareComments(    i, phase, comment, depth, braces, code) {
    phase = "nothing"
    for (i = 1; i <= NR; ++i) {
        if (text[i] ~ /^ *\/\/\/( |$)/ && phase != "declaration") {
            if (phase != "comment") {
                comment = ""
                depth = Indentation(text[i])
            }
            comment = comment CommentText(text[i])
            phase = "comment"
            continue
        }
        if (phase == "comment" || (phase == "ended" && IsShared(i, depth))) {
            if (phase == "ended") {
                before[i] = "/** " comment "*/ "
            }
            phase = "declaration"
            braces = 0
        } else if (phase != "declaration") {
            phase = "nothing"
            continue
        }
        code = text[i]
        sub(/ *\/\/.*$/, "", code)
        braces += gsub(/\{/, "{", code) - gsub(/\}/, "}", code)
        if (code ~ /^ *(template <.*> )?(class|struct|enum|concept|namespace) / && code !~ /;$/) {
            phase = "nothing" # the members have comments of their own
        } else if (braces == 0 && code ~ /[;}]$/) {
            phase = "ended"
        }
    }
}

function IsShared(i, depth) {
    return Indentation(text[i]) == depth && text[i] !~ /^ *$|^ *\/\/|^ *[{}#]|\/\/\/<|^ *(public|protected|private):$/
}

function MarkTop(    i) {
    for (i = 1; i <= NR && text[i] !~ /^#pragma once/; ++i) {
        if (text[i] ~ /^\/\//) {
            text[i] = "/" text[i]
        }
    }
    text[i - 1] = text[i - 1] " @ingroup " family
    text[i] = "/// @file " base
    top = i
}

# Only the outermost namespace opens the family; one without comments declares other headers' types. What
# is documented outside of namespaces, macros above all, joins the family by itself.
function MarkNamespaces(    i, depth) {
    for (i = 1; i <= NR; ++i) {
        if (text[i] ~ /^namespace [A-Za-z:]+ \{$/ && depth == 0 && HasComments(i + 1, -1)) {
            text[i] = text[i] " /** @family{" family "} */"
            depth = 1
        } else if (text[i] ~ /^namespace / && depth > 0) {
            ++depth
        } else if (text[i] ~ /^} \/\/ namespace / && depth > 0) {
            before[i] = --depth == 0 ? "/** @} */ " : ""
        } else if (depth == 0 && i > top && text[i] ~ /^\/\/\// && text[i + 1] !~ /^\/\/\//) {
            text[i] = text[i] " @ingroup " family
        }
    }
}

# Is anything documented from line `i` on until the scope or the section at this depth ends?
function HasComments(i, depth) {
    for (; i <= NR && !EndsSection(i, depth); ++i) {
        if (text[i] ~ /^ *\/\/\/( |$)/) {
            return 1
        }
    }
    return 0
}

function IsSection(i) {
    return text[i] ~ /^ *\/\/ --- .* -+$/
}

function EndsSection(i, depth) {
    return (IsSection(i) && Indentation(text[i]) == depth) ||
        (text[i] != "" && Indentation(text[i]) < depth) || text[i] ~ /^}( \/\/ namespace .*)?$/
}

function MarkSections(    i, depth, isOpen, title) {
    for (i = 1; i <= NR; ++i) {
        if (isOpen && EndsSection(i, depth)) {
            before[i] = "/** @} */ " before[i]
            isOpen = 0
        }
        if (IsSection(i) && HasComments(i + 1, Indentation(text[i]))) {
            isOpen = 1
            depth = Indentation(text[i])
            title = text[i]
            gsub(/^ *\/\/ --- | -+$/, "", title)
            text[i] = "/** @name " toupper(substr(title, 1, 1)) substr(title, 2)
            for (++i; text[i] ~ /^ *\/\/( |$)/; ++i) {
                sub(/^ *\/\/ ?/, "", text[i])
            }
            before[i] = "*/ /** @{ */ " before[i]
        }
    }
}
