# Sourced by ./marrowen and ./check: installs the Debian packages that are missing.

build_packages=(g++ cmake ninja-build liblmdb-dev libhivex-dev libhivex-bin libssl-dev libcli11-dev nlohmann-json3-dev
  libboost1.81-dev)
test_packages=(ccache googletest libgtest-dev libbenchmark-dev clang clang-format clang-tidy
  libclang-rt-14-dev libexpat1-dev openssl openssh-client python3 g++-mingw-w64-x86-64-posix wine wine64 chromium
  dpkg-dev man-db groff-base desktop-file-utils)

package_packages=(g++-mingw-w64-x86-64-posix dpkg-dev python3)

# Of `install_missing`, for who has no right to install.
say_as_root() {
  echo "Packages are missing, and there is no sudo to install them. Run this as root, then start anew:" >&2
  echo "  apt-get update && apt-get install -y --no-install-recommends ${missing[*]}" >&2
}

# Says what it installs; says and does nothing when nothing is missing.
install_missing() {
  local missing=() package
  for package in "$@"; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
  done
  # Node.js may stand there without being a Debian package.
  command -v npm >/dev/null || missing+=(nodejs npm)
  [ ${#missing[@]} -eq 0 ] && return
  command -v apt-get >/dev/null || { echo "There is no apt-get here to install ${missing[*]}." >&2; return 1; }
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { say_as_root; return 1; }
    as_root=(sudo)
  fi
  echo "Installing ${missing[*]}" >&2
  "${as_root[@]}" apt-get update -qq >&2
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >&2
}
