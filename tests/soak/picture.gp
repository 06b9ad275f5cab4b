# Draws the data of the soak on standard output: memory of host and daemon, and times of edits.
# Variable: data.
set terminal svg size 900, 520 dynamic font "sans-serif,12" background "white"
set multiplot layout 2, 1
set border 3
set tics nomirror out
set grid ytics
set key outside right top
set lmargin at screen 0.10
set rmargin at screen 0.80
set xrange [0:*] noextend
set yrange [0:*]

set title "Resident memory"
set ylabel "KiB"
plot data using 1:2 with lines linewidth 2 linecolor rgb "#4f81bd" title "plug-in host", \
     data using 1:3 with lines linewidth 2 linecolor rgb "#c0504d" title "daemon"

set title "Time of an edit"
set ylabel "ms"
set xlabel "minutes"
plot data using 1:6 with lines linecolor rgb "#bfbfbf" title "longest", \
     data using 1:5 with lines linewidth 2 linecolor rgb "#f79646" title "99 %", \
     data using 1:4 with lines linewidth 2 linecolor rgb "#4f81bd" title "median"
