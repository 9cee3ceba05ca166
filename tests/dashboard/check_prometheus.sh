#!/usr/bin/env bash
# The exposition under a real Prometheus: a server scraping the demo's /metrics every second on
# loopback must hold what the demo reported, a video frame rate gauge equal to the demo's own
# sample of that moment and a frame counter whose rate() matches the counter's progression as
# this script read it from the demo.
# Usage: check_prometheus.sh DEMO. Exit 77 (skipped) without Prometheus, or when the demo was
# built without --http.
set -euo pipefail
# The whole check has a minute; past it the trap below still ends every process it started.
if [ -z "${MEDIASTORES_CHECK_TIMED:-}" ]; then
  MEDIASTORES_CHECK_TIMED=1 exec timeout -s TERM 60 bash "$0" "$@"
fi
demo=$1
prometheus=$(command -v prometheus || true)
if [ -z "$prometheus" ]; then
  echo "prometheus is not installed (scripts/install-deps.sh installs it); skipped"
  exit 77
fi
. "$(dirname "$0")/common.sh"

work=$(mktemp -d)
demo_pid=""
prometheus_pid=""
sampler_pid=""
cleanup() {
  for pid in $sampler_pid $prometheus_pid; do
    kill -TERM "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  stop_demo || true
  rm -rf "$work"
}
trap cleanup EXIT
trap 'echo "FAIL: over the time limit" >&2; exit 124' TERM INT

port=$(free_port)
start_demo "$port" --calls 2
wait_for_points "$port" 20 1 2

# The series compared: call 1001's layer-0 frame rate and its encoded frames.
gauge='mediastores_video_layer_target_frames_per_second{call_id="1001",media="video",direction="send",layer="0"}'
counter='mediastores_video_encoded_frames_total{call_id="1001",media="video",direction="send"}'

# The demo's own samples, every 0.2 s: "<unix time> <gauge> <counter>".
(
  while true; do
    now=$(date +%s.%N)
    if curl -sf --max-time 1 "http://127.0.0.1:$port/metrics" -o "$work/metrics.txt"; then
      g=$(grep -F "$gauge " "$work/metrics.txt" | awk '{print $2}')
      c=$(grep -F "$counter " "$work/metrics.txt" | awk '{print $2}')
      echo "$now ${g:-nan} ${c:-nan}" >>"$work/demo-samples.txt"
      cp "$work/metrics.txt" "$work/metrics-last.txt"
    fi
    sleep 0.2
  done
) &
sampler_pid=$!

prom_port=$(free_port)
cat >"$work/prometheus.yml" <<YML
global:
  scrape_interval: 1s
  scrape_timeout: 1s
  evaluation_interval: 1s
scrape_configs:
  - job_name: mediastores-demo
    static_configs:
      - targets: ['127.0.0.1:$port']
YML
"$prometheus" --config.file="$work/prometheus.yml" --storage.tsdb.path="$work/data" \
  --web.listen-address="127.0.0.1:$prom_port" --log.level=warn >"$work/prometheus.log" 2>&1 &
prometheus_pid=$!

api="http://127.0.0.1:$prom_port/api/v1/query"
query() {
  curl -sf --max-time 2 "$api" --data-urlencode "query=$1"
}
# Until Prometheus holds six seconds of the counter (scraped at 1 s).
deadline=$((SECONDS + 40))
until [ "$(query "count_over_time($counter[10s])" 2>/dev/null |
           python3 -c 'import json,sys; r=json.load(sys.stdin)["data"]["result"]; print(r[0]["value"][1] if r else 0)' 2>/dev/null)" \
        -ge 6 ] 2>/dev/null; do
  if [ $SECONDS -ge $deadline ] || ! kill -0 "$prometheus_pid" 2>/dev/null; then
    echo "FAIL: Prometheus did not scrape the demo" >&2
    cat "$work/prometheus.log" >&2
    exit 1
  fi
  sleep 0.5
done

query "up{job=\"mediastores-demo\"}" >"$work/up.json"
query "$gauge" >"$work/gauge.json"
query "timestamp($gauge)" >"$work/gauge-time.json"
query "rate($counter[5s])" >"$work/rate.json"
query "timestamp($counter)" >"$work/counter-time.json"
query "$counter[5s]" >"$work/counter-samples.json"
sleep 0.5  # the sampler's reads after the queries
kill -TERM "$sampler_pid" 2>/dev/null || true
wait "$sampler_pid" 2>/dev/null || true
sampler_pid=""
echo "demo /metrics (first lines of the last read):"
head -20 "$work/metrics-last.txt"

python3 - "$work" <<'PY'
import json, math, os, sys
work = sys.argv[1]

def result(name):
    with open(os.path.join(work, name)) as f:
        answer = json.load(f)
    print("query result %s: %s" % (name[:-5], json.dumps(answer["data"]["result"])))
    return answer["data"]["result"]

up = result("up.json")
gauge = result("gauge.json")
gauge_time = result("gauge-time.json")
rate = result("rate.json")
counter_time = result("counter-time.json")
raw = result("counter-samples.json")
samples = []
for line in open(os.path.join(work, "demo-samples.txt")):
    t, g, c = line.split()
    if g != "nan" and c != "nan":
        samples.append((float(t), float(g), float(c)))

problems = []
if not up or up[0]["value"][1] != "1":
    problems.append("the demo's target is not up")
if len(gauge) != 1 or len(rate) != 1:
    problems.append("the queries did not find exactly one series each")
else:
    fps = float(gauge[0]["value"][1])
    scraped = float(gauge_time[0]["value"][1])
    # The demo's own samples around the scrape that Prometheus holds.
    near = sorted({g for t, g, _ in samples if abs(t - scraped) <= 1.5})
    print("frame rate: Prometheus %g (scraped at %.3f), the demo's samples within 1.5 s: %s"
          % (fps, scraped, near))
    if not near or fps not in near:
        problems.append("Prometheus's frame rate %g is not what the demo served then" % fps)
    if not 1 <= fps <= 60:
        problems.append("frame rate %g out of the demo's range" % fps)

    per_second = float(rate[0]["value"][1])
    end = float(counter_time[0]["value"][1])
    window = [(t, c) for t, _, c in samples if end - 5.0 <= t <= end]
    if len(window) < 2 or window[-1][0] - window[0][0] < 2:
        problems.append("too few demo samples of the counter in the rate's window")
    else:
        own = (window[-1][1] - window[0][1]) / (window[-1][0] - window[0][0])
        print("encoded frames: Prometheus rate(5s) %.2f/s, the demo's counter over %.1f s: %.2f/s"
              % (per_second, window[-1][0] - window[0][0], own))
        if not per_second > 0:
            problems.append("the counter's rate is not positive")
        elif abs(per_second - own) > 0.25 * own + 1:
            problems.append("rate %.2f/s is not the counter's progression %.2f/s" % (per_second, own))
    # Each scraped value lies between the demo's own reads shortly before and after the scrape.
    for t, v in ((float(t), float(v)) for t, v in (raw[0]["values"] if raw else [])):
        before = [c for s, _, c in samples if t - 1.5 <= s <= t - 0.3]
        after = [c for s, _, c in samples if t + 0.3 <= s <= t + 1.5]
        if before and after and not max(before) <= v <= min(after):
            problems.append("scraped %g at %.3f is not between the demo's %g and %g"
                            % (v, t, max(before), min(after)))
for p in problems:
    print("FAIL:", p)
sys.exit(1 if problems else 0)
PY
