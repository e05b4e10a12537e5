# Draws the two tables of growth as one picture: awk -f plot.awk ENTRIES BYTES >growth.svg
# Each line of a table: how much, CPU milliseconds. Both scales are logarithmic; the grey line has
# the slope of linear growth.

function lg(value) { return log(value) / log(10) }
function x(value) { return left + 90 * lg(value / 10) }
function y(value) { return bottom - 70 * lg(value) }
function text(tx, ty, anchor, words) {
    printf "<text x=\"%d\" y=\"%d\" text-anchor=\"%s\">%s</text>\n", tx, ty, anchor, words
}
function line(x1, y1, x2, y2, colour) {
    printf "<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"%s\"/>\n", x1, y1, x2, y2, colour
}

BEGIN {
    left = 70; bottom = 330; colours[1] = "#1f6f8b"; colours[2] = "#c8553d"
    names[1] = "by entries of 1 KiB (tar)"; names[2] = "by MiB (tar.zst)"
    print "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 480 380\" " \
        "font-family=\"sans-serif\" font-size=\"11\">"
    print "<rect width=\"480\" height=\"380\" fill=\"white\"/>"
    for (decade = 10; decade <= 100000; decade *= 10) {
        line(x(decade), y(1), x(decade), y(10000), "#e4e4e4")
        text(x(decade), bottom + 16, "middle", decade)
    }
    for (decade = 1; decade <= 10000; decade *= 10) {
        line(x(10), y(decade), x(100000), y(decade), "#e4e4e4")
        text(left - 6, y(decade) + 4, "end", decade)
    }
    line(x(10), y(1), x(100000), y(10000), "#b0b0b0")
    text(x(1000), bottom + 36, "middle", "entries, or MiB")
    text(left - 40, y(10000) - 12, "start", "CPU, milliseconds")
}
FNR == 1 { ++table; text(x(10) + 10, y(10000) + 14 + 16 * table, "start", \
    "<tspan fill=\"" colours[table] "\">● " names[table] "</tspan>") }
{
    if (FNR > 1) { line(x(before), y(cost), x($1), y($2), colours[table]) }
    printf "<circle cx=\"%d\" cy=\"%d\" r=\"4\" fill=\"%s\"/>\n", x($1), y($2), colours[table]
    before = $1; cost = $2
}
END { print "</svg>" }
