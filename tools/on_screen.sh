# The program at work on a virtual screen and a private sound server, for scripts that press its buttons. Sourced by
# bash with the project's root as the working folder. Leaves nothing behind.

folder=$(mktemp -d)
children=()
cleanup() {
  local child
  # The rig takes its sound server down when its input ends.
  exec 4>&-
  for child in "${children[@]}"; do kill "$child" 2>/dev/null || true; done
  for child in "${children[@]}" ${rig:+"$rig"}; do wait "$child" 2>/dev/null || true; done
  rm -rf "$folder"
}
trap cleanup EXIT

# wait_until <seconds> <what> <command...>: until the command succeeds.
wait_until() {
  local deadline=$((SECONDS + $1)) what=$2
  shift 2
  until "$@"; do
    if ((SECONDS >= deadline)); then
      echo "Gave up waiting for $what. The program's log:" >&2
      cat "$folder/log" >&2
      exit 1
    fi
    sleep 0.1
  done
}
# logged <text> <count>: whether so many lines of the program's log contain the text.
logged() { [[ $(grep -c -- "$1" "$folder/log") -ge $2 ]]; }

# start_screen <width>x<height>; without the repetition of keys that a busy machine seems to hold down.
start_screen() {
  Xvfb -r -displayfd 3 -screen 0 "$1x24" -nolisten tcp -noreset 3>"$folder/display" 2>"$folder/xvfb.log" &
  children+=($!)
  wait_until 20 "the virtual screen" test -s "$folder/display"
  DISPLAY=":$(<"$folder/display")"
  export DISPLAY
}

# start_rig <what the rig takes...>; it obeys what is written to descriptor 4.
start_rig() {
  mkfifo "$folder/orders"
  TMPDIR=$folder build/tests/rig/rig "$@" <"$folder/orders" >"$folder/server" &
  rig=$!
  exec 4>"$folder/orders"
  wait_until 20 "the sound server" test -s "$folder/server"
}

# The program with the cards of standard input.
start_program() {
  mkdir -p "$folder/data/Tallyrig"
  cat >"$folder/data/Tallyrig/readers.json"
  touch "$folder/log"
  env -u WAYLAND_DISPLAY -u DBUS_SESSION_BUS_ADDRESS HOME="$folder" XDG_RUNTIME_DIR="$(<"$folder/server")" \
    XDG_DATA_HOME="$folder/data" XDG_CONFIG_HOME="$folder/config" XDG_CACHE_HOME="$folder/cache" \
    build/tallyrig >"$folder/log" 2>&1 4>&- &
  program=$!
  children+=("$program")
}

# The colours by which the cards are found in a picture, in the order of readers.json.
colours=()
picture=$folder/picture.png
borders=() digits=() buttons=()
# Reads all cards off the screen; false while one is not there.
look() {
  local border shown x y
  borders=() digits=() buttons=()
  import -silent -window root "$picture" || return 1
  while read -r border shown x y; do
    borders+=("$border")
    digits+=("$shown")
    buttons+=("$x $y")
  done < <(build/tests/rig/card_picture "$picture" "${colours[@]}" 2>/dev/null)
  ((${#digits[@]} == ${#colours[@]}))
}
# shows <border>...: whether each card has that border, "any" for one that does not matter.
shows() {
  local card=0 border
  look || return 1
  for border; do
    [[ $border == any || $border == "${borders[card]}" ]] || return 1
    card=$((card + 1))
  done
}
# press <card>: a click on its START, STOP, JAM SYNC or STOP JAM.
press() {
  local place
  read -ra place <<<"${buttons[$1]}"
  xdotool mousemove "${place[@]}" click 1
}
