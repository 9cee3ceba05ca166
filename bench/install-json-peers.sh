#!/usr/bin/env bash
# Installs the JSON libraries that bench/json_peers_bench.cc compares the module with:
# nlohmann-json, RapidJSON, simdjson and JsonCpp, from the distribution's packages. The benchmark build
# skips any of them that is missing, so this script is optional.
set -euo pipefail

packages=(nlohmann-json3-dev rapidjson-dev libsimdjson-dev libjsoncpp-dev)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "JSON peer libraries already installed."
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update
$SUDO apt-get install -y --no-install-recommends "${missing[@]}"
