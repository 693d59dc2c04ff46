set terminal svg size 800,420 font "sans-serif,13" background "white"
set output image
set multiplot layout 1,2
set logscale xy
set key left top
set grid
set format y "10^{%L}"
set datafile missing "-"
set yrange [5e6:5e9]
set ylabel "instructions"
set xlabel "records in one document"
plot data index 0 using 1:2 with linespoints pt 7 lw 2 title "show", \
     data index 0 using 1:3 with linespoints pt 5 lw 2 title "report", \
     data index 0 using 1:4 with linespoints pt 11 lw 2 title "verify", \
     data index 0 using 1:5 with linespoints pt 13 lw 2 title "metrics", \
     data index 0 using 1:6 with linespoints pt 9 lw 2 title "libxml2 on an inventory"
unset ylabel
set xlabel "records, 10 in each document"
plot data index 1 using 1:2 with linespoints pt 7 lw 2 title "show", \
     data index 1 using 1:3 with linespoints pt 5 lw 2 title "report", \
     data index 1 using 1:5 with linespoints lc 4 pt 13 lw 2 title "metrics", \
     data index 1 using 1:6 with linespoints lc 5 pt 9 lw 2 title "libxml2 on inventories"
