#!/usr/bin/env bash
# Runs every fuzz target of a build for a while over a copy of its seed
# corpus (the tree stays clean). Fails on the first target that crashes,
# hangs or fails a check, leaving its input in the printed directory.
#   tests/fuzz/run_fuzzers.sh BUILD_DIR [SECONDS_PER_TARGET] [TARGET...]
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
build="$(cd "$1" && pwd)"
secs="${2:-20}"
shift $(( $# >= 2 ? 2 : 1 ))
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  targets=(read_points read_polyline read_obj read_ply read_stl mesh_import delaunay solid_boolean mesh_query)
fi
work="$(mktemp -d "${TMPDIR:-/tmp}/krfuzz_run_XXXXXX")"
status=0
for t in "${targets[@]}"; do
  exe="$build/tests/fuzz/fuzz_$t"
  [ -x "$exe" ] || { echo "fuzz: $exe is not built"; exit 1; }
  mkdir -p "$work/$t/corpus" "$work/$t/crash"
  cp "$here/corpus/$t/"* "$work/$t/corpus/"
  echo "fuzz: $t for ${secs}s"
  # Absolute paths throughout: a target works in a scratch directory it makes
  # in TMPDIR, here its own work directory.
  if ! (cd "$work/$t" && TMPDIR="$work/$t" "$exe" -max_total_time="$secs" -timeout=10 -rss_limit_mb=2048 \
          -artifact_prefix="$work/$t/crash/" -print_final_stats=1 "$work/$t/corpus" >"$work/$t/log" 2>&1); then
    echo "fuzz: $t FAILED; log and input in $work/$t"
    tail -n 60 "$work/$t/log"
    status=1
    continue
  fi
  grep -E "stat::number_of_executed_units|solid boolean:" "$work/$t/log" || true
done
[ $status -eq 0 ] && rm -rf "$work"
exit $status
