#!/usr/bin/env bash
# Installs what building and testing need on Debian 12, and nothing when it is all there. Called by run, test and .ci/run.
#   setup.sh          what ./run needs
#   setup.sh test     and what ./test needs
#   setup.sh ci       and what .ci/run needs
set -euo pipefail

# Boost 1.81 stands beside the distribution's default 1.74, whose Asio does not compile as C++20. The two -dev packages
# exclude each other: --no-remove makes apt refuse rather than take the default one away from whoever needs it.
packages=(cmake ninja-build g++-12
    libboost1.81-dev libboost-thread1.81-dev libboost-date-time1.81-dev
    libtinyxml-dev libcli11-dev libfmt-dev)
case "${1:-run}" in
run) ;;
test) packages+=(libgtest-dev libgmock-dev libbenchmark-dev rapidjson-dev nlohmann-json3-dev jq
    parted xfsprogs e2fsprogs) ;;
ci) packages+=(libgtest-dev libgmock-dev libbenchmark-dev rapidjson-dev nlohmann-json3-dev jq
    parted xfsprogs e2fsprogs clang-14 libclang-rt-14-dev clang-tidy-14 clang-format-14 shellcheck) ;;
*)
    echo "setup.sh: unknown set '$1' (run, test or ci)" >&2
    exit 2
    ;;
esac

missing=()
for package in "${packages[@]}"; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$state" = installed ] || missing+=("$package")
done
[ "${#missing[@]}" -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
        echo "Missing packages: ${missing[*]}. Install them as root, or install sudo." >&2
        exit 1
    }
    as_root=(sudo)
fi
echo "Installing: ${missing[*]}" >&2
install=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends --no-remove)
"${install[@]}" "${missing[@]}" >/dev/null 2>&1 || {
    "${as_root[@]}" apt-get update -q >/dev/null
    "${install[@]}" "${missing[@]}" >/dev/null
}
