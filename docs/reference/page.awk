# What Doxygen reads in place of a guide page: public names link to their descriptions, headings can be
# linked to as on a repository's web pages (chains.md#speed), and the page ends with the families that it
# is about. Blocks of code stay as they are.
#
# Usage: awk -f docs/reference/links.awk -f docs/reference/page.awk PAGE, from the root of the repository

BEGIN {
    ReadFamilies()
    ReadNames()
}

NR == 1 {
    page = FILENAME
    sub(/^\.\//, "", page)
    sub(/^.*\/docs\//, "docs/", page)
    sub(/^.*\//, page ~ /^docs\// ? "docs/" : "", page)
    families = " "
    for (h = 1; h <= headerCount; ++h) {
        header = headers[h]
        if (guideOf[header] == page && index(families, " " familyOf[header] " ") == 0) {
            families = families familyOf[header] " "
        }
    }
}

/^```/ { inCode = !inCode }
inCode || /^```/ || /^    / { print; next }

/^##+ / { print $0 " {#" Anchor(page, $0) "}"; next }

{
    line = $0
    while (match(line, /\]\(#[a-z0-9-]+\)/)) {
        target = substr(line, RSTART + 3, RLENGTH - 4)
        line = substr(line, 1, RSTART + 1) "@ref " Anchor(page, target) substr(line, RSTART + RLENGTH - 1)
    }
    while (match(line, /\]\(([A-Za-z.]+\/)*[A-Za-z-]+\.md#[a-z0-9-]+\)/)) {
        target = substr(line, RSTART + 2, RLENGTH - 3)
        split(target, part, "#")
        line = substr(line, 1, RSTART + 1) "@ref " Anchor(part[1], part[2]) substr(line, RSTART + RLENGTH - 1)
    }
    print Linked(line, families)
}

END {
    if (families != " " && page ~ /^docs\//) {
        print "\n## Reference\n"
        count = split(families, family, " ")
        for (i = 1; i <= count; ++i) {
            print "- @ref " family[i]
        }
    }
}

function Anchor(file, heading) {
    sub(/^.*\//, "", file)
    sub(/\.md$/, "", file)
    heading = tolower(heading)
    gsub(/^#+ /, "", heading)
    gsub(/[^a-z0-9 -]/, "", heading)
    gsub(/ /, "-", heading)
    return file "-" heading
}
