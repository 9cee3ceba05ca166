#!/usr/bin/env bash
# Lints the exposition of a call with audio, video and content objects with promtool.
# Usage: check_exposition.sh <program that prints the exposition>
set -euo pipefail
if ! command -v promtool >/dev/null; then
  echo "promtool not found (Debian package prometheus): exposition not linted, test skipped"
  exit 77
fi
text=$("$1")
for media in audio video content-audio content-video; do
  grep -q "media=\"$media\"" <<<"$text" || { echo "no sample with media=\"$media\""; exit 1; }
done
promtool check metrics <<<"$text"
echo "promtool accepts $(grep -c '^# TYPE' <<<"$text") metric families"
