# Draws the table of scripts/speed-curves, one panel a curve: `table` and `picture` are the files.
set terminal svg size 1200, 760 font "sans,11" background "white"
set output picture
set datafile separator "\t"
set key outside below horizontal samplen 2
set grid
set yrange [0:*]
set ylabel "ns a stereo frame"
set style data linespoints
# The rows of one case in one curve.
rows(curve, name) = sprintf("< awk -F '\\t' '$1 == \"%s\" && $2 == \"%s\"' %s", curve, name, table)
four = "default linear8192 minimum heavy"
two = "default oversample"

set multiplot layout 2, 3
set logscale x 4
set xlabel "frames a block"
plot for [name in four] rows("block", name) using 3:4 title name
set xlabel "instances in turn, blocks of 64"
plot for [name in four] rows("instances", name) using 3:4 title name
unset logscale x
set xlabel "rate in kHz"
plot for [name in four] rows("rate", name) using ($3 / 1000):4 title name
set xlabel "look-ahead in ms"
plot for [name in two] rows("look-ahead", name) using 3:4 title name
set xlabel "poles of each filter of the minimum-phase split"
plot rows("order", "minimum") using 3:4 title "minimum"
set xlabel "taps of the linear-phase split"
set xrange [0:10000]
set xtics (2048, 8192)
plot for [name in two] rows("taps", name) using 3:4 title name
unset multiplot
