#!/usr/bin/env bash
# Installs whatever the build, the tests and the front end need and the
# machine lacks. Safe to run again: it only installs missing packages.
set -euo pipefail

packages=(
  g++ cmake make pkg-config
  clang libclang-rt-14-dev
  libgtk2.0-dev libglib2.0-dev libglib2.0-dev-bin zlib1g-dev libsndfile1-dev
  libgtest-dev libbenchmark-dev
  cc65
  xvfb xauth x11-apps
  fonts-dejavu-core fonts-liberation
  dpkg-dev file xz-utils
  desktop-file-utils appstream shared-mime-info libxml2-utils man-db groff-base
  gettext python3 cc1541
)

missing=()
for p in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$p")
done

if ((${#missing[@]})); then
  echo "Installing missing packages: ${missing[*]}"
  sudo_cmd=()
  [[ $(id -u) -eq 0 ]] || sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
