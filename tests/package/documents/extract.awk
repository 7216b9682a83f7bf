# Cuts the code out of documents: awk -v to=FOLDER -f extract.awk DOCUMENT...
#
#   ```cpp    a program of its own, or lines inside the program that the comment before them holds:
#             <!-- The lines below stand in this program, at the dots:
#             ...
#             -->
#   ```cmake  lines for a CMakeLists.txt
#   ```json   a file
#   indented  commands of the map program, and the variables that they use; other commands are left alone
#
# Writes FOLDER/<document>-<number>.<language> and FOLDER/<document>.sh; a block of an unknown language is an error.
function start_document() {
    document = FILENAME
    sub(/.*\//, "", document)
    sub(/\.md$/, "", document)
    blocks = 0
    around = 0
    fenced = 0
    before = after = ""
}

FNR == 1 { start_document() }

/^<!-- The lines below stand in this program, at the dots:$/ { around = 1; before = after = ""; next }
around && /^-->$/ { around = 0; next }
around == 1 && /^\.\.\.$/ { around = 2; next }
around == 1 { before = before $0 "\n"; next }
around == 2 { after = after $0 "\n"; next }

fenced && /^```$/ {
    if (out) {
        printf "%s", after > out
        close(out)
    }
    fenced = 0
    before = after = ""
    next
}
fenced { if (out) print > out; next }
/^```/ {
    language = substr($0, 4)
    fenced = 1
    out = ""
    if (language == "") next # a drawing
    if (language != "cpp" && language != "cmake" && language != "json") {
        print FILENAME ":" FNR ": what is a block of '" language "'?" > "/dev/stderr"
        exit 1
    }
    out = to "/" document "-" ++blocks "." language
    printf "%s", before > out
    next
}

/^    (map=|\$map |build\/release\/apps\/map\/cartolith-map |cartolith-map )/ || continued {
    if (before != "") {
        print FILENAME ":" FNR ": a program without its lines" > "/dev/stderr"
        exit 1
    }
    print substr($0, 5) > (to "/" document ".sh")
    continued = /\\$/
}
