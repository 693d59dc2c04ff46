# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# Expectations. A test is a function test_*; what it does not find as expected fails it.

fail() {
  echo "  $1"
  failures=$((failures + 1))
}

# expect WHAT EXPECTED ACTUAL
expect() {
  [ "$2" = "$3" ] || fail "$1: expected:
$2
  but it is:
$3"
}

seconds_up() { cut -d . -f 1 /proc/uptime; }

# wait_for WHAT COMMAND...: until the command succeeds, but not forever.
wait_for() {
  what=$1
  shift
  attempts=0
  until "$@" 2>/dev/null >&2; do
    attempts=$((attempts + 1))
    if [ $attempts -gt 300 ]; then
      fail "waited in vain for $what"
      return 1
    fi
    [ $attempts -lt 20 ] && sleep 0.05 || sleep 0.5
  done
}

# While the processor is idle, the virtual machine's clock runs ahead, and drives look slow. Where that matters, it has to be
# busy.
keep_time() {
  while :; do :; done &
  timekeeper=$!
  renice -n 19 -p $timekeeper
}
stop_keeping_time() {
  kill $timekeeper
  wait $timekeeper 2>/dev/null
}
