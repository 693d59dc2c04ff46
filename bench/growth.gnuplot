set terminal svg size 800,420 font "sans-serif,13" background "white"
set output image
set logscale xy
set key left top
set grid
set format y "10^{%L}"
set xlabel "number"
set ylabel "instructions above start-up"
plot data index 0 with linespoints pt 7 lw 2 title "drives (with 50 entries)", \
     data index 1 with linespoints pt 5 lw 2 title "entries (with 4 drives)"
