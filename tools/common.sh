# What `run` and `test` share. Sourced by bash with the project's root as the working folder.

# The names that stand under the given sections of the package list.
packages_of() {
  awk -v wanted=" $* " '
    /^\[.*\]$/ { inside = index(wanted, " " substr($0, 2, length($0) - 2) " "); next }
    /^[^#]/ && inside { print $1 }' packaging/packages.txt
}

# Installs what is missing of the given sections. Fetches nothing when everything is there.
install_packages() {
  local missing=() name
  for name in $(packages_of "$@"); do
    [[ "$(dpkg-query -W -f '${db:Status-Status}' "$name" 2>/dev/null)" == installed ]] || missing+=("$name")
  done
  ((${#missing[@]})) || return 0

  local as_root=()
  if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
      echo "These Debian packages are missing, and there is no sudo to install them with: ${missing[*]}" >&2
      return 1
    fi
    as_root=(sudo)
  fi
  echo "Installing ${#missing[@]} Debian packages: ${missing[*]}"
  "${as_root[@]}" apt-get update -q </dev/null
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -q -y --no-install-recommends "${missing[@]}" </dev/null
}

# Lets builds in different folders, and from a fresh clone, share what the compiler has made.
use_ccache() {
  export CCACHE_BASEDIR=$PWD
  export CCACHE_NOHASHDIR=1
  export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
}

# Configures and builds a preset: build_preset <name> [targets...]
build_preset() {
  local preset=$1
  shift
  cmake --preset "$preset" &&
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
