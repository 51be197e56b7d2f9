# SPDX-License-Identifier: Apache-2.0
# The parameters of a provisioning file, in order: number, name, value, and whether there was a
# value, separated by the ASCII unit separator and ended by the record separator.
function decoded(text) {
    gsub(/&lt;/, "<", text); gsub(/&gt;/, ">", text)
    gsub(/&quot;/, "\"", text); gsub(/&apos;/, "\047", text)
    gsub(/&amp;/, "\\&", text)
    return text
}
{ text = text $0 "\n" }
END {
    while ((from = index(text, "<!--")) > 0) {
        rest = substr(text, from + 4)
        to = index(rest, "-->")
        text = substr(text, 1, from - 1) (to > 0 ? substr(rest, to + 3) : "")
    }
    blank = "[ \t\r\n]*"
    attribute = "^" blank "[A-Za-z_:][A-Za-z0-9_:.-]*" blank "=" blank \
        "(\"[^\"]*\"|\047[^\047]*\047)"
    while (match(text, /<param[ \t\r\n\/>]/)) {
        text = substr(text, RSTART + 6)
        split("", values)
        while (match(text, attribute)) {
            piece = substr(text, RSTART, RLENGTH)
            text = substr(text, RSTART + RLENGTH)
            name = piece
            sub("=.*", "", name)
            gsub(/[ \t\r\n]/, "", name)
            value = substr(piece, index(piece, "=") + 1)
            sub("^" blank, "", value)
            if (!(name in values))
                values[name] = decoded(substr(value, 2, length(value) - 2))
        }
        has_value = "value" in values
        printf "%d\037%s\037%s\037%d\036", ++number, values["name"], values["value"], \
            has_value
    }
}
