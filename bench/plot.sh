#!/usr/bin/env bash
# Plots trigger → ready and arrow → repaint (median and p95) against the screen's size, for both
# drawing modes, from the data mosaro_bench --plot-data writes. Usage: plot.sh DATA PNG
set -euo pipefail
data="$1"; png="$2"
command -v gnuplot >/dev/null || { echo "plot.sh: gnuplot is missing (apt-get install gnuplot-nox)"; exit 1; }
gnuplot <<GP
set terminal pngcairo size 900,420 font ",10" noenhanced
set output "$png"
set multiplot layout 1,2
set xlabel "screen size (megapixels)"
set ylabel "ms"
set key top left
set grid
set title "trigger → overlay ready"
plot "$data" using (\$2==0?\$1:1/0):3 smooth unique with linespoints title "outline, median", \
     "$data" using (\$2==0?\$1:1/0):4 smooth unique with linespoints title "outline, p95", \
     "$data" using (\$2==1?\$1:1/0):3 smooth unique with linespoints title "translucent, median", \
     "$data" using (\$2==1?\$1:1/0):4 smooth unique with linespoints title "translucent, p95"
set title "arrow → first repaint"
plot "$data" using (\$2==0?\$1:1/0):5 smooth unique with linespoints title "outline, median", \
     "$data" using (\$2==0?\$1:1/0):6 smooth unique with linespoints title "outline, p95", \
     "$data" using (\$2==1?\$1:1/0):5 smooth unique with linespoints title "translucent, median", \
     "$data" using (\$2==1?\$1:1/0):6 smooth unique with linespoints title "translucent, p95"
unset multiplot
GP
echo "plot: $png"
