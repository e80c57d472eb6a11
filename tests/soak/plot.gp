# Plots samples.tsv of the variable `directory` to soak.png.
set terminal pngcairo size 1000, 900 noenhanced
set output directory . "/soak.png"
samples = directory . "/samples.tsv"
set multiplot layout 4, 1
set xlabel "minutes"
set yrange [0:*]
set key off
set grid
set title "resident memory of all workers (MiB)"
plot samples using ($1 / 60):($6 / 1048576) with lines linewidth 2
set title "allocated memory of all workers, less what the contract keeps (KiB)"
plot samples using ($1 / 60):($5 / 1024) with lines linewidth 2
set title "open descriptors of all workers"
plot samples using ($1 / 60):7 with lines linewidth 2
set title "calls (thousands)"
plot samples using ($1 / 60):($2 / 1000) with lines linewidth 2
unset multiplot
