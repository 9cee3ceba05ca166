#!/usr/bin/env bash
# The live dashboard in a real browser: headless Chromium loads / from a demo serving three calls,
# and the page it renders must list the calls in its picker and have drawn every chart.
# Usage: check_dashboard.sh DEMO SCREENSHOT_PNG. Exit 77 (skipped) without Chromium, or when the
# demo was built without --http.
set -euo pipefail
# Two minutes at most; past them the traps below still end the demo.
if [ -z "${MEDIASTORES_CHECK_TIMED:-}" ]; then
  MEDIASTORES_CHECK_TIMED=1 exec timeout -s TERM 120 bash "$0" "$@"
fi
demo=$1
screenshot=$2
chromium=$(command -v chromium || command -v chromium-browser || true)
if [ -z "$chromium" ]; then
  echo "chromium is not installed (scripts/install-deps.sh installs it); skipped"
  exit 77
fi
. "$(dirname "$0")/common.sh"

work=$(mktemp -d)
demo_pid=""
trap 'stop_demo || true; rm -rf "$work"' EXIT
trap 'echo "FAIL: over the time limit" >&2; exit 124' TERM INT

port=$(free_port)
start_demo "$port" --calls 3
wait_for_points "$port" 30 3 3
url="http://127.0.0.1:$port/"

browse() {
  # A fresh profile each time, nothing fetched but the page.
  local profile
  profile=$(mktemp -d "$work/profile.XXXXXX")
  timeout 60 "$chromium" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync \
    --disable-dev-shm-usage --user-data-dir="$profile" "$@" "$url" 2>>"$work/chromium.err"
}

if ! browse --virtual-time-budget=5000 --dump-dom >"$work/dom.html"; then
  cat "$work/chromium.err" >&2
  exit 1
fi
python3 - "$work/dom.html" <<'PY'
import re, sys
dom = open(sys.argv[1]).read()
options = re.findall(r'<option value="(\d+)"[^>]*>call (\d+)</option>', dom)
charts = re.findall(r'<figure class="chart" id="chart-([\w-]+)" data-points="(\d+)"', dom)
print("picker:", ", ".join("call " + o[0] for o in options))
print("charts:", ", ".join("%s %s points" % c for c in charts))
problems = []
if [o[0] for o in options] != ["1001", "1002", "1003"]:
    problems.append("the picker does not list calls 1001, 1002 and 1003")
if len(charts) != 6:
    problems.append("%d charts instead of 6" % len(charts))
problems += ["chart %s drew no point" % c[0] for c in charts if int(c[1]) == 0]
for p in problems:
    print("FAIL:", p)
sys.exit(1 if problems else 0)
PY

rm -f "$screenshot"
if ! browse --virtual-time-budget=5000 --screenshot="$screenshot" --window-size=1280,1600 \
       >/dev/null ||
   [ "$(head -c 8 "$screenshot" | od -An -tx1 | tr -d ' \n')" != "89504e470d0a1a0a" ]; then
  echo "FAIL: no PNG screenshot at $screenshot" >&2
  cat "$work/chromium.err" >&2
  exit 1
fi
echo "screenshot: $screenshot"

# Stopped like Ctrl-C while serving, the demo still shuts every call down cleanly.
status=0
stop_demo || status=$?
if [ $status -ne 0 ]; then
  echo "FAIL: the demo exited with $status after SIGTERM" >&2
  tail -5 "$work/demo.out" "$work/demo.err" >&2
  exit 1
fi
tail -1 "$work/demo.out"
