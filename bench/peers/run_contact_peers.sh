#!/usr/bin/env bash
# Runs contact_peers for every case, this library and FCL alternately, each run
# in a fresh process, and prints the medians and the ratios ours/FCL (below 1:
# ours is faster or smaller). Build times are processor time (the machine may
# be shared); query times are wall time over all placements.
#
#   bench/peers/run_contact_peers.sh [PROGRAM] [REPEATS] [CASES...]
#
# PROGRAM defaults to build/default/bench/peers/contact_peers, REPEATS to 3.
set -euo pipefail
prog=${1:-build/default/bench/peers/contact_peers}
reps=${2:-3}
shift $(( $# > 2 ? 2 : $# ))
cases=("$@")
[ ${#cases[@]} -gt 0 ] || cases=(s20k_touch s20k_apart s20k_overlap s100k_touch s100k_apart s100k_overlap)
[ -x "$prog" ] || { echo "$prog: not built (configure with -DKRTES_BUILD_BENCH=ON and FCL installed)" >&2; exit 1; }

field() { sed -n "s/.* $1=\([^ ]*\).*/\1/p" <<<"$2"; }
median() { { grep . || true; } | sort -g | awk '{v[NR]=$1} END {print NR == 0 ? "-" : (NR%2) ? v[(NR+1)/2] : (v[NR/2]+v[NR/2+1])/2}'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (a == "-" || b == "-" || b == 0) print "-"; else printf "%.2f", a / b }'; }

echo "$(date -u +%Y-%m-%d) $(lscpu | sed -n 's/^Model name: *//p'), $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-13s %8s %8s %6s %9s %9s %6s %9s %9s %6s %7s %7s %6s  %s\n' case build_o build_f ratio \
  coll_o coll_f ratio dist_o dist_f ratio MB_o MB_f ratio check
for c in "${cases[@]}"; do
  declare -A b=() q=() d=() m=() ans=()
  for ((r = 0; r < reps; ++r)); do
    order=(ours fcl)
    (( r % 2 )) && order=(fcl ours)
    for lib in "${order[@]}"; do
      line=$("$prog" --lib "$lib" --case "$c")
      b[$lib]+="$(field build_cpu_s "$line") "
      q[$lib]+="$(field collide_s "$line") "
      d[$lib]+="$(field dist_s "$line") "
      m[$lib]+="$(field peak_mb "$line") "
      ans[$lib]="contacts=$(field contacts "$line") distsum=$(field distsum "$line")"
    done
  done
  for lib in ours fcl; do
    for v in b q d m; do
      declare -n arr=$v
      eval "${v}_${lib}=$(tr ' ' '\n' <<<"${arr[$lib]}" | median)"
    done
  done
  [ "${ans[ours]}" = "${ans[fcl]}" ] && check="same answers (${ans[ours]})" || check="ours ${ans[ours]} / fcl ${ans[fcl]}"
  printf '%-13s %8s %8s %6s %9s %9s %6s %9s %9s %6s %7s %7s %6s  %s\n' "$c" "$b_ours" "$b_fcl" "$(ratio "$b_ours" "$b_fcl")" \
    "$q_ours" "$q_fcl" "$(ratio "$q_ours" "$q_fcl")" "$d_ours" "$d_fcl" "$(ratio "$d_ours" "$d_fcl")" \
    "$m_ours" "$m_fcl" "$(ratio "$m_ours" "$m_fcl")" "$check"
  unset b q d m ans
done
