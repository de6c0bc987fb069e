# Sourced by demo.sh and test.sh: makes sure that Debian packages are there.

# need PACKAGE...: installs what is missing when root, and says what is missing otherwise.
need() {
  missing=""
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "ok installed" || missing="$missing $package"
  done
  [ -z "$missing" ] && return 0
  if [ "$(id -u)" -ne 0 ]; then
    echo "missing Debian packages, please install:$missing" >&2
    return 1
  fi
  echo "installing:$missing"
  export DEBIAN_FRONTEND=noninteractive
  # shellcheck disable=SC2086  # a list of names
  { apt-get -qq update && apt-get -qq install -y --no-install-recommends $missing; } >/dev/null || {
    echo "could not install:$missing" >&2
    return 1
  }
}

# The first Python that has the packages that the tools need.
find_python() {
  for python in "${PYTHON:-}" python3 /usr/bin/python3; do
    [ -n "$python" ] && "$python" -c "import numpy, matplotlib, h5py" 2>/dev/null && { echo "$python"; return 0; }
  done
  echo "no python3 with numpy, matplotlib and h5py: install python3-numpy python3-matplotlib python3-h5py" >&2
  return 1
}
