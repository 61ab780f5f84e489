#!/usr/bin/env bash
# Runs boolean_peers for every case, this library (default exact cut, then the
# tolerant cut) and CGAL in turn, the order rotated from one repeat to the next, each
# run in a fresh process, and prints the medians and the ratios to CGAL
# (below 1: ours is faster or smaller). Times are processor seconds (the
# machine may be shared; both libraries run on one thread):
#   cut    ours: constructing CKrSolidBoolean (both cuts and both sorts)
#   ops    the four results: ours from the constructed object; CGAL as four
#          corefine_and_compute_* calls, each on fresh copies
#   all4   all four results: ours cut + ops; CGAL one
#          corefine_and_compute_boolean_operations call
#   union  the union alone: ours cut + union; CGAL corefine_and_compute_union
# closed   whether union, intersection, A-B and B-A are closed (1) or not (0)
# dvol     the largest relative difference of a result's volume from CGAL's
# ident    the largest relative miss of the library's own volumes from
#          U + I = A + B, A-B = A - I and B-A = B - I
# notes    unsorted: ours says a sort failed; all4!=: CGAL's four-in-one call
#          gave other results than its separate calls; varies: the volumes
#          or closed flags were not the same in every repeat; faulty edges
#          (open or shared by more than two triangles) of the four results,
#          where one is not closed
#
#   bench/peers/run_boolean_peers.sh [PROGRAM] [REPEATS] [CASES...]
#
# PROGRAM defaults to build/default/bench/peers/boolean_peers, REPEATS to 3.
set -euo pipefail
prog=${1:-build/default/bench/peers/boolean_peers}
reps=${2:-3}
shift $(( $# > 2 ? 2 : $# ))
cases=("$@")
[ ${#cases[@]} -gt 0 ] || cases=(s20k s100k s200k bumpy)
[ -x "$prog" ] || { echo "$prog: not built (configure with -DKRTES_BUILD_BENCH=ON and CGAL installed)" >&2; exit 1; }
libs=(ours tolerant cgal)
ops=(union inter amb bma)

field() { sed -n "s/.* $1=\([^ ]*\).*/\1/p" <<<"$2"; }
median() { tr ' ' '\n' | { grep . || true; } | sort -g | awk '{v[NR]=$1} END {print NR == 0 ? "-" : (NR%2) ? v[(NR+1)/2] : (v[NR/2]+v[NR/2+1])/2}'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (a == "-" || b == "-" || b == 0) print "-"; else printf "%.2f", a / b }'; }
sum() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.4f", a + b }'; }

echo "$(date -u +%Y-%m-%d) $(lscpu | sed -n 's/^Model name: *//p'), $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"
fmt='%-6s %-5s %8s %8s %8s %6s %8s %6s %7s %6s %6s %8s %8s  %s\n'
printf "$fmt" case lib cut ops all4 ratio union ratio MB ratio closed dvol ident notes
for c in "${cases[@]}"; do
  declare -A cut=() opsum=() all=() one=() mb=() vols=() closed=() notes=() opens=()
  for ((r = 0; r < reps; ++r)); do
    for ((i = 0; i < ${#libs[@]}; ++i)); do
      lib=${libs[(i + r) % ${#libs[@]}]}
      line=$("$prog" --lib "$lib" --case "$c")
      o=$(field ops_cpu_s "$line")
      if [ "$lib" = cgal ]; then
        t=$(field all4_cpu_s "$line")
        u=$(field union_cpu_s "$line")
        [ "$(field all4_same "$line")" = 1 ] || notes[$lib]="all4!= "
      else
        cut[$lib]+="$(field cut_cpu_s "$line") "
        t=$(sum "$(field cut_cpu_s "$line")" "$o")
        u=$(sum "$(field cut_cpu_s "$line")" "$(field union_cpu_s "$line")")
        [ "$(field classified "$line")" = 1 ] || notes[$lib]="unsorted "
      fi
      opsum[$lib]+="$o "
      all[$lib]+="$t "
      one[$lib]+="$u "
      mb[$lib]+="$(field peak_mb "$line") "
      v="$(field vol_a "$line") $(field vol_b "$line")"
      f="" open=""
      for op in "${ops[@]}"; do
        v+=" $(field "vol_$op" "$line")"
        f+=$(field "closed_$op" "$line")
        open+="${open:+/}$(field "open_$op" "$line")"
      done
      if [ -n "${vols[$lib]:-}" ] && [ "${vols[$lib]} ${closed[$lib]}" != "$v $f" ]; then notes[$lib]+="varies "; fi
      vols[$lib]=$v
      closed[$lib]=$f
      [ "$f" = 1111 ] || opens[$lib]="faulty edges $open"
    done
  done
  for lib in "${libs[@]}"; do
    m_all=$(median <<<"${all[$lib]}")
    m_one=$(median <<<"${one[$lib]}")
    m_mb=$(median <<<"${mb[$lib]}")
    # Volumes: A B U I A-B B-A.
    dvol=$(awk -v o="${vols[$lib]}" -v g="${vols[cgal]}" 'BEGIN {
      n = split(o, x, " "); split(g, y, " "); d = 0
      for (k = 3; k <= n; ++k) { e = (y[k] == 0) ? 1 : (x[k] - y[k]) / y[k]; if (e < 0) e = -e; if (e > d) d = e }
      printf "%.1e", d }')
    ident=$(awk -v o="${vols[$lib]}" 'BEGIN {
      split(o, x, " "); a = x[1]; b = x[2]; u = x[3]; i = x[4]
      e1 = (u + i - a - b) / (a + b); e2 = (x[5] - (a - i)) / a; e3 = (x[6] - (b - i)) / b
      d = 0; if (e1 < 0) e1 = -e1; if (e2 < 0) e2 = -e2; if (e3 < 0) e3 = -e3
      if (e1 > d) d = e1; if (e2 > d) d = e2; if (e3 > d) d = e3
      printf "%.1e", d }')
    [ "$lib" = cgal ] && dvol="-"
    printf "$fmt" "$c" "$lib" "$(median <<<"${cut[$lib]:-}")" "$(median <<<"${opsum[$lib]}")" "$m_all" \
      "$(ratio "$m_all" "$(median <<<"${all[cgal]}")")" "$m_one" "$(ratio "$m_one" "$(median <<<"${one[cgal]}")")" \
      "$m_mb" "$(ratio "$m_mb" "$(median <<<"${mb[cgal]}")")" "${closed[$lib]}" "$dvol" "$ident" "${notes[$lib]:-}${opens[$lib]:-}"
  done
  unset cut opsum all one mb vols closed notes opens
done
