# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# Runs the tests of the virtual machine: all, or those that the kernel's command line names (tests=BEGIN,BEGIN...).
# Prints what failed in a test, one line with its outcome, and at the end the counts; exits non-zero when a test failed.

export RBKL_SIMULATOR_PARTITION=/tmp/rollback
export FWKIT_LOG=/tmp/fwkit.log
component=/component
drives=/drives
failed_text="ERROR: Failed to Update Firmware"
failures=0 passed=0 failed=0

for part in harness component network_drives pcie_drives; do . /tests/$part.sh; done
for file in /tests/tests_*.sh; do . $file; done

is_chosen() {
  chosen=$(sed -n 's/.* tests=\([a-z0-9_,]*\).*/\1/p' /proc/cmdline)
  [ -n "$chosen" ] || return 0
  for begin in $(echo $chosen | tr , ' '); do
    case $1 in test_$begin*) return 0 ;; esac
  done
  return 1
}

run() {
  before=$failures
  rm -rf /tmp/rollback /tmp/*.xml /tmp/*.log
  package f101 a801 f1a0 1001
  begin=$(cut -d ' ' -f 1 /proc/uptime)
  echo >/tmp/syslog
  $1
  [ $failures -eq $before ] || cat /tmp/syslog
  detach_all
  unplug_all
  if [ $failures -eq $before ]; then
    passed=$((passed + 1))
    echo "PASSED $1 ($(echo "$(cut -d ' ' -f 1 /proc/uptime) - $begin" | bc) s)"
  else
    failed=$((failed + 1))
    echo "FAILED $1"
  fi
}

open_monitor
for file in /tests/tests_*.sh; do
  for test in $(sed -n 's/^\(test_[a-z0-9_]*\)() {$/\1/p' $file); do
    ! is_chosen $test || run $test
  done
done
echo "$passed passed, $failed failed"
[ $passed -gt 0 ] && [ $failed -eq 0 ]
