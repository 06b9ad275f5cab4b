# Draws the data of bench/report.py: a bar for the plug-in's time divided by the
# floor's, a mark for the target. Variables: data, picture, rows.
set terminal svg size 900, 60 + 22 * rows dynamic font "sans-serif,12" background "white"
set output picture
set datafile separator "\t"

set title "Time of the plug-in / time of the floor  (bar: measured, mark: to reach, red: missed)"
set logscale x 2
set xrange [0.125:*]
set format x "%g"
set grid xtics
set yrange [-0.7:rows - 0.3]
set tics nomirror out
set errorbars 0
set border 3
unset key
set lmargin at screen 0.40
set rmargin at screen 0.94

start = 0.125
color(missed) = missed > 0 ? 0xc0504d : 0x4f81bd
plot data using (start):1:(start):2:($1 - 0.32):($1 + 0.32):(color($4)):ytic(5) \
       with boxxyerror fillstyle solid noborder linecolor rgb variable, \
     data using 3:1:(0):(0.42) with xyerrorbars pointtype -1 linewidth 2 linecolor rgb "black", \
     data using ($2 > $3 ? $2 : $3):1:(sprintf("%.2f", $2)) with labels left offset 0.4, 0
