#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when any is missing.
set -euo pipefail
# libcpp-httplib-dev: mediastores-demo --http; chromium and curl: the dashboard and monitoring
# checks (tests/dashboard/); prometheus: promtool and the monitoring check; python3-jsonschema:
# the configuration schema check; nlohmann-json3-dev: the packaging check of the umbrella header.
packages=(cmake ninja-build g++ clang libclang-rt-dev libgtest-dev libgmock-dev libbenchmark-dev
  pkg-config binutils python3 python3-jsonschema nlohmann-json3-dev prometheus libcpp-httplib-dev
  chromium curl)
missing=()
for pkg in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$pkg")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
echo "installing: ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
