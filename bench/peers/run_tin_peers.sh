#!/usr/bin/env bash
# Runs tin_peers for every case, this library and CGAL alternately, each run
# in a fresh process, and prints the medians and the ratios ours/CGAL.
#
#   bench/peers/run_tin_peers.sh [PROGRAM] [REPEATS] [CASES...]
#
# PROGRAM defaults to build/default/bench/peers/tin_peers, REPEATS to 3.
set -euo pipefail
prog=${1:-build/default/bench/peers/tin_peers}
reps=${2:-3}
shift $(( $# > 2 ? 2 : $# ))
cases=("$@")
[ ${#cases[@]} -gt 0 ] || cases=(u100k jacksboro u1m u1m_lines q1m_random q1m_grid)
[ -x "$prog" ] || { echo "$prog: not built (configure with -DKRTES_BUILD_BENCH=ON and CGAL installed)" >&2; exit 1; }

field() { sed -n "s/.* $1=\([^ ]*\).*/\1/p" <<<"$2"; }
# The median of the numbers on stdin (one a line, blanks ignored); - for none.
median() { { grep . || true; } | sort -g | awk '{v[NR]=$1} END {print NR == 0 ? "-" : (NR%2) ? v[(NR+1)/2] : (v[NR/2]+v[NR/2+1])/2}'; }

echo "$(date -u +%Y-%m-%d) $(lscpu | sed -n 's/^Model name: *//p'), $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-11s %9s %9s %7s %9s %9s %7s %9s %9s %7s  %s\n' case ours_s cgal_s ratio ours_MB cgal_MB ratio \
  ours_q_s cgal_q_s ratio check
for c in "${cases[@]}"; do
  declare -A t=() m=() q=() sums=()
  for ((r = 0; r < reps; ++r)); do
    order=(ours cgal)
    (( r % 2 )) && order=(cgal ours)
    for lib in "${order[@]}"; do
      line=$("$prog" --lib "$lib" --case "$c")
      t[$lib]+="$(field build_s "$line") "
      m[$lib]+="$(field peak_mb "$line") "
      q[$lib]+="$(field query_s "$line") "
      sums[$lib]="tris=$(field tris "$line") triangles=$(field triangles "$line") hits=$(field hits "$line") zsum=$(field zsum "$line")"
    done
  done
  for lib in ours cgal; do
    eval "${lib}_t=$(tr ' ' '\n' <<<"${t[$lib]}" | median)"
    eval "${lib}_m=$(tr ' ' '\n' <<<"${m[$lib]}" | median)"
    eval "${lib}_q=$(tr ' ' '\n' <<<"${q[$lib]}" | median)"
  done
  tri_o=$(field tris " ${sums[ours]}"); tri_c=$(field tris " ${sums[cgal]}")
  n_o=$(field triangles " ${sums[ours]}"); n_c=$(field triangles " ${sums[cgal]}")
  if [ -n "$tri_o" ]; then
    [ "$tri_o" = "$tri_c" ] && check="same triangle set" || check="DIFFERENT triangle sets ($n_o / $n_c triangles)"
  else
    check="triangles $n_o / $n_c"
  fi
  h_o=$(field hits " ${sums[ours]}"); h_c=$(field hits " ${sums[cgal]}")
  z_o=$(field zsum " ${sums[ours]}"); z_c=$(field zsum " ${sums[cgal]}")
  if [ -n "$h_o" ]; then
    [ "$h_o $z_o" = "$h_c $z_c" ] && check+=", same hits and z sum" || check+=", hits/z sum $h_o $z_o / $h_c $z_c"
  fi
  ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (a == "-" || b == "-" || b == 0) print "-"; else printf "%.2f", a / b }'; }
  printf '%-11s %9s %9s %7s %9s %9s %7s %9s %9s %7s  %s\n' "$c" "$ours_t" "$cgal_t" "$(ratio "$ours_t" "$cgal_t")" \
    "$ours_m" "$cgal_m" "$(ratio "$ours_m" "$cgal_m")" "$ours_q" "$cgal_q" "$(ratio "$ours_q" "$cgal_q")" "$check"
  unset t m q sums
done
