# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# nvmepcissd-tool on drives that the kernel knows: their facts, updates whose outcome is known, completion after resets.

# tool STATUS SUBCOMMAND ARGUMENT...: its answer is in /tmp/answer.json
tool() {
  expected=$1
  shift
  nvmepcissd-tool "$@" --json >/tmp/answer.json 2>/tmp/progress
  status=$?
  expect "exit status of $*" $expected $status
  [ $status = $expected ] || cat /tmp/answer.json /tmp/progress
}

# answered FIELD: its value for each drive, in order
answered() { echo $(sed -n 's/^      "'$1'": "\{0,1\}\([^",]*\).*/\1/p' /tmp/answer.json); }

# Runs in a state folder of its own, so that no test sees another's.
tool_update() {
  expected=$1
  shift
  tool $expected update $component --state /tmp/state --yes "$@"
}

fresh_state() { rm -rf /tmp/state; }

test_tool_tells_slots_health_and_package_of_plugged_drives() {
  plug one 1 revision=REV_1
  plug two 2 revision=REV_2 device-id=43010
  payload 8192
  update
  tool 0 drives $component
  of_one=$(sed -n '/"SN-one"/,/^    }/p' /tmp/answer.json | tr -d ' \n')
  of_two=$(sed -n '/"SN-two"/,/^    }/p' /tmp/answer.json | tr -d ' \n')
  for fact in '"before":"REV_1"' '"staged":"NEW_REV"' '"state":"staged"' '"slots":["REV_1","NEW_REV",' \
    '"nextSlot":2' '"criticalWarning":0' '"use":[]' '"inPackage":true'; do
    case $of_one in *$fact*) ;; *) fail "no $fact in $of_one" ;; esac
  done
  for fact in '"before":"REV_2"' '"staged":null' '"nextSlot":null' '"inPackage":false'; do
    case $of_two in *$fact*) ;; *) fail "no $fact in $of_two" ;; esac
  done
}

test_tool_updates_drives_and_completes_the_run_after_a_controller_reset() {
  fresh_state
  plug drive1 1
  plug drive2 2
  payload 40964
  tool 0 plan $component --to NEW_REV
  expect "planned states" "flash flash" "$(answered state)"
  expect "downloads of a plan" "" "$(told drive1 | grep download)"
  tool_update 0 --to NEW_REV --run first
  expect states "staged staged" "$(answered state)"
  expect staged "NEW_REV NEW_REV" "$(answered staged)"
  expect_image_in drive1 2
  expect_image_in drive2 2
  clear_told drive1
  tool_update 0 --to NEW_REV
  expect "states of a second run" "staged staged" "$(answered state)"
  expect "what a second run tells a drive" "" "$(told drive1)"
  reset_plugged drive1
  reset_plugged drive2
  tool 0 result first --state /tmp/state
  expect "states after the reset" "updated updated" "$(answered state)"
  expect "revisions after the reset" "NEW_REV NEW_REV" "$(answered after)"
  tool_update 0 --to NEW_REV
  expect "states of a third run" "current current" "$(answered state)"
}

test_tool_flashes_the_drives_of_the_plan_alone() {
  fresh_state
  for slot in 1 2 3; do plug drive$slot $slot; done
  plug sick 4 smart_critical_warning=4
  payload 8192
  tool_update 4 --to NEW_REV --serial SN-drive2 --serial SN-sick
  expect states "refused staged refused unhealthy" "$(answered state)"
  for drive in drive1 drive3 sick; do expect "what $drive was told" "" "$(told $drive | grep -v reset)"; done
  expect_image_in drive2 2
}

test_tool_says_which_drive_failed_and_what_it_answered() {
  fresh_state
  plug willing 1
  plug refusing 2 fw-commit-statuses=0x4107
  payload 8192
  tool_update 1 --to NEW_REV
  expect states "staged failed" "$(answered state)"
  expect codes "null 263" "$(answered code)"
  expect "how they were told apart" "log log" "$(answered identifiedBy)"
}

test_tool_flashes_one_leg_of_a_mirror_and_no_mounted_drive() {
  fresh_state
  for slot in 1 2 3; do plug drive$slot $slot drive=disk$slot; done
  make_mirror $(block_device_of drive1) $(block_device_of drive2)
  mkdir -p /mnt /mnt3
  mke2fs -q /dev/md0 2>/dev/null >&2
  mke2fs -q $(block_device_of drive3) 2>/dev/null >&2
  mount -t ext4 /dev/md0 /mnt || fail "the mirror cannot be mounted"
  mount -t ext4 $(block_device_of drive3) /mnt3 || fail "drive 3 cannot be mounted"
  payload 8192
  tool_update 4 --to NEW_REV
  expect states "staged refused refused" "$(answered state)"
  tool_update 4 --to NEW_REV
  expect "states while a leg waits for its reset" "staged refused refused" "$(answered state)"
  reset_plugged drive1
  echo faulty >/sys/block/md0/md/dev-$(basename $(block_device_of drive1))/state
  tool_update 4 --to NEW_REV
  expect "states of a degraded mirror" "current refused refused" "$(answered state)"
  expect "what the last leg was told" "" "$(told drive2 | grep download)"
  umount /mnt /mnt3 || fail "a file system cannot be unmounted"
  echo clear >/sys/block/md0/md/array_state
}

test_tool_joins_a_flash_whose_command_was_killed() {
  fresh_state
  plug drive1 1 fw-download-delay=300
  plug drive2 2
  payload 40960
  nvmepcissd-tool update $component --state /tmp/state --yes --to NEW_REV --run killed >/tmp/cut.json 2>&1 &
  command=$!
  wait_for "the download to begin" has_begun drive1
  kill -9 $command
  wait $command 2>/dev/null
  tool 5 result killed --state /tmp/state
  tool 0 result killed --state /tmp/state --wait 300
  expect states "staged staged" "$(answered state)"
  expect "commits of drive 1" "commit slot 2 action 1" "$(told drive1 | grep commit)"
}

# Kills every process of a run that is left, as a power cut does.
die() {
  left=$(pidof nvmepcissd nvmepcissd-tool) && kill -9 $left
  wait_for "every process to be gone" is_over
}
is_over() { ! pidof nvmepcissd nvmepcissd-tool >/dev/null; }
has_component() { pidof nvmepcissd >/dev/null; }
has_left_the_flash() { grep -qE '"phase": "(verifying|done)"' /tmp/state/cut/run.json; }

# resume: the run "cut" again, until it flashes
resume() { tool_update 5 --to NEW_REV --run cut --begin; }

# told_of_cut STATUS STATES INTERRUPTED: what the next call says of it
told_of_cut() {
  tool $1 result cut --state /tmp/state
  expect "states of what was cut off" "$2" "$(answered state)"
  expect "whether it was cut off" "$3" "$(sed -n 's/^  "interrupted": \(.*\),/\1/p' /tmp/answer.json)"
}

test_tool_resumes_a_run_that_died_at_every_stage() {
  fresh_state
  plug drive1 1 fw-download-delay=300
  plug drive2 2 fw-download-delay=300
  payload 40960
  nvmepcissd-tool update $component --state /tmp/state --yes --to NEW_REV --run cut >/tmp/cut.json 2>&1 &
  wait_for "the inventory to begin" has_component
  die
  wait $!
  told_of_cut 3 "" true
  expect "downloads of a plan that died" "" "$(told drive1 | grep download)"
  resume
  wait_for "the first download to begin" has_begun drive1
  die
  told_of_cut 3 "undecided untouched" true
  resume
  wait_for "the second download to begin" has_begun drive2
  kill -9 $(pidof nvmepcissd)
  tool 3 result cut --state /tmp/state --wait 300
  told_of_cut 3 "staged undecided" true
  clear_told drive1
  resume
  wait_for "the flash to end" has_left_the_flash
  die
  told_of_cut 0 "staged staged" false
  expect "what the first drive was told again" "" "$(told drive1)"
  expect_image_in drive1 2
  expect_image_in drive2 2
}

test_tool_misses_a_drive_that_was_yanked() {
  fresh_state
  plug drive1 1
  plug drive2 2 fw-download-delay=300
  payload 40960
  nvmepcissd-tool update $component --state /tmp/state --yes --to NEW_REV --run lost >/tmp/cut.json 2>&1 &
  command=$!
  wait_for "the download to begin" has_begun drive2
  yank drive2
  notice_loss drive2
  wait $command
  expect "exit status" 1 $?
  tool 1 result lost --state /tmp/state
  case $(answered state) in
    "staged failed" | "staged missing") ;;
    *) fail "states: $(answered state)" ;;
  esac
}

# What nvmepcissd-tool check predicts of payloads and our own drive library
test_payloads_that_check_finds_fault_with_are_refused() {
  plug plain 1
  for content in 'ODD_REV bytes of an odd count' "$(printf '\037\213\010')..........." '7z\274\257\047\034......'; do
    rm -f $component/payload/*
    printf "$content" >$component/payload/image.bin
    nvmepcissd-tool check $component | grep -qE 'payload-(size|archive)' || fail "check finds nothing in $content"
    clear_told plain
    update
    expect "outcome of $content" "$failed_text" "$(outcomes)"
    expect "what the drive was told" "" "$(told plain)"
  done
}
