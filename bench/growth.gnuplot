set terminal svg size 800,420 font "sans-serif,13" background "white"
set output image
set logscale xy
set key left top
set grid
set format y "10^{%L}"
set xlabel "drives (50 entries), entries (4 drives)"
set ylabel "instructions above start-up"
plot data index 0 with linespoints pt 7 title "drives", data index 1 with linespoints pt 5 title "entries"
