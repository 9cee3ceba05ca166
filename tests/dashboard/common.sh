# Shared by the dashboard checks: a free loopback port, a demo serving --http on it, waiting.
# The caller sets `work` (a scratch directory) and traps EXIT to call stop_demo and remove it.

# A TCP port free on 127.0.0.1 right now.
free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# Starts the demo serving on 127.0.0.1:$1 with the remaining arguments; sets demo_pid.
start_demo() {
  local port=$1
  shift
  "$demo" --http "127.0.0.1:$port" --seconds 0 --quiet "$@" >"$work/demo.out" 2>"$work/demo.err" &
  demo_pid=$!
}

# Ends the demo by its pid (SIGTERM: it shuts its calls down and prints its summary) and
# returns its exit status; 0 when it was not started.
stop_demo() {
  local status=0
  if [ -n "${demo_pid:-}" ]; then
    kill -TERM "$demo_pid" 2>/dev/null || true
    wait "$demo_pid" || status=$?
    demo_pid=""
  fi
  return $status
}

# Waits (at most $2 seconds) until /stats.json of the demo on port $1 has at least $3 points for
# each of $4 calls. Exits 77 (skipped) when the demo has no --http.
wait_for_points() {
  local port=$1 limit=$2 points=$3 calls=$4 deadline=$((SECONDS + $2))
  while [ $SECONDS -lt $deadline ]; do
    if ! kill -0 "$demo_pid" 2>/dev/null; then
      if grep -q "has no HTTP server" "$work/demo.err"; then
        echo "mediastores-demo was built without --http; skipped"
        exit 77
      fi
      echo "the demo ended early:" >&2
      cat "$work/demo.err" >&2
      return 1
    fi
    if curl -sf --max-time 2 "http://127.0.0.1:$port/stats.json" -o "$work/stats.json" &&
       python3 - "$work/stats.json" "$points" "$calls" <<'PY'
import json, sys
calls = json.load(open(sys.argv[1]))["calls"]
sys.exit(0 if len(calls) == int(sys.argv[3]) and
         all(len(c["points"]) >= int(sys.argv[2]) for c in calls) else 1)
PY
    then
      return 0
    fi
    sleep 0.3
  done
  echo "no $points seconds of figures from the demo within $limit s" >&2
  return 1
}
