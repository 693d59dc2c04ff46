set terminal svg size 800,420 font "sans-serif,13" background "white"
set output image
set datafile separator "\t"
set logscale x 2
set key right top
set grid
set xtics (4, 16, 64, 128)
set xrange [3.5:150]
set yrange [0:*]
set xlabel "servers"
set ylabel "processor milliseconds for a server"
rows(step) = sprintf("< awk -F '\\t' '$1 == \"%s\"' %s", step, data)
plot rows("rollout") using 2:3 with linespoints pt 7 lw 2 title "rollout with a reboot of every server", \
     rows("check") using 2:3 with linespoints pt 5 lw 2 title "check mode", \
     rows("again") using 2:3 with linespoints pt 9 lw 2 title "nothing to do", \
     650 with lines dt 2 lc rgb "gray" title "goals: 650 and 350", 350 with lines dt 2 lc rgb "gray" notitle
