# Draws the data of bench/report.py: a bar of 100 % for each row, divided into sysrepo's own share of the
# time, that of the floor, and that of the plug-in. Variables: data, picture, rows.
set terminal svg size 900, 80 + 26 * rows dynamic font "sans-serif,12" background "white"
set output picture
set datafile separator "\t"

set xrange [0:100]
set format x "%g %%"
set yrange [-0.7:rows - 0.3]
set tics nomirror out
set border 3
set key outside top center horizontal
set lmargin at screen 0.27
set rmargin at screen 0.80

plot data using (0):1:(0):2:($1 - 0.32):($1 + 0.32):ytic(4) \
       with boxxyerror fillstyle solid noborder linecolor rgb "#a6bddb" title "sysrepo", \
     data using 2:1:2:3:($1 - 0.32):($1 + 0.32) \
       with boxxyerror fillstyle solid noborder linecolor rgb "#c9c9c9" \
       title "what any plug-in must do: daemon, keys, copies", \
     data using 3:1:3:(100):($1 - 0.32):($1 + 0.32) \
       with boxxyerror fillstyle solid noborder linecolor rgb "#e08214" title "this plug-in beyond that", \
     data using (100):1:5 with labels left offset 1, 0 notitle
