#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when missing.
# Runs apt-get only as root or through sudo; otherwise it names what is missing.
# With the argument "fuzz" it adds clang and its libFuzzer and sanitizer runtimes.
# openpyxl reads the workbooks back in the tests; chromium renders the HTML
# page in the browser test, and PIL looks at its screenshot; dask and
# distributed run the Python module on a partitioned frame.
set -euo pipefail
packages=(cmake make g++ pkg-config libgtest-dev libgmock-dev googletest libbenchmark-dev
          nlohmann-json3-dev libcli11-dev python3 python3-dev pybind11-dev python3-pybind11 python3-pandas
          python3-numpy python3-pytest libxlsxwriter-dev python3-openpyxl python3-pil chromium
          python3-dask python3-distributed)
if [ "${1:-}" = fuzz ]; then packages+=(clang-14 libclang-rt-14-dev); fi
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
if [ "$(id -u)" -eq 0 ]; then SUDO=""; elif command -v sudo >/dev/null 2>&1; then SUDO="sudo"; else
  echo "install-deps: missing packages: ${missing[*]} (run as root or install them)" >&2; exit 1
fi
echo "install-deps: installing ${missing[*]}" >&2
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}" >/dev/null
