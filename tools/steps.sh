# SPDX-License-Identifier: Apache-2.0
# The steps that ./run, ./test and .ci/run share. To be sourced from bash, in the project's folder.

say() { printf '%s\n' "$*" >&2; }

# packages_under HEADING: the names that tools/packages lists there.
packages_under() {
  awk -v heading="[$1]" '/^\[/ { inside = $0 == heading; next } inside && NF && !/^#/' tools/packages
}

# install_packages HEADING...: installs what is missing; without root, says what is missing and fails.
install_packages() {
  if ! command -v dpkg-query >/dev/null; then
    say "This is not Debian: install the counterparts of the packages in tools/packages yourself."
    return 0
  fi
  local heading package missing=() as_root=()
  for heading in "$@"; do
    for package in $(packages_under "$heading"); do
      [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      say "These packages are missing, and only root can install them: ${missing[*]}"
      say "Ask for:  apt-get install --no-install-recommends ${missing[*]}"
      return 1
    fi
    as_root=(sudo)
  fi
  say "Installing ${#missing[@]} packages: ${missing[*]}"
  "${as_root[@]}" apt-get -q update >&2
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q install -y --no-install-recommends "${missing[@]}" >&2
}

# build PRESET [TARGET...]: configures when there is need, and builds into build/PRESET.
build() {
  local preset=$1
  shift
  export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$PWD}"
  # An older configuration notices changes of CMake files by itself, but not of the presets.
  if [ ! -f "build/$preset/build.ninja" ] || [ CMakePresets.json -nt "build/$preset/build.ninja" ]; then
    cmake --preset "$preset" >&2
    touch "build/$preset/build.ninja"
  fi
  ninja -C "build/$preset" "$@" >&2
}

# Runs a command with addresses that do not change from run to run: ThreadSanitizer of g++ 12 does not start on kernels
# that spread them widely.
steady_addresses() {
  local steady=(setarch "$(uname -m)" -R)
  "${steady[@]}" true 2>/dev/null || steady=()
  "${steady[@]}" "$@"
}
