set terminal svg size 800,420 font "sans-serif,13" background "white"
set output image
set logscale xy
set key left top
set grid
set format y "10^{%L}"
set xlabel "records in one document"
set ylabel "instructions"
plot data using 1:2 with linespoints pt 7 lw 2 title "show", \
     data using 1:3 with linespoints pt 5 lw 2 title "report", \
     data using 1:4 with linespoints pt 9 lw 2 title "libxml2, the same bytes"
