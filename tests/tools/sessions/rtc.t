SPDX-License-Identifier: Apache-2.0
  $ varnel rtc get
  time                  2026-0(1-31 23:59:5|2-01 00:00:)[0-9]+ \+0000 (re)
  ahead of system time  -[0-9]+ s (re)
  $ varnel rtc set '2026-03-01 12:00:00' --verify
  $ varnel rtc get --json
  {
    "time": "2026-03-01T12:00:0[0-9][+]0000", (re)
    "epoch_seconds": 177236640[0-9], (re)
    "ahead_seconds": -[0-9]+ (re)
  }
October is an ordinary month here.
  $ varnel rtc set 2026-10-01T12:00:00 --verify
  $ varnel rtc get
  time                  2026-10-01 12:00:0[0-9] [+]0000 (re)
  ahead of system time  -[0-9]+ s (re)
  $ varnel rtc set '2026-10-31 12:00:00' --verify
  $ varnel rtc get
  time                  2026-10-31 12:00:0[0-9] [+]0000 (re)
  ahead of system time  -[0-9]+ s (re)
  $ TZ=Europe/Berlin varnel rtc set '2026-10-31 12:00:00' --verify
  $ TZ=Europe/Berlin varnel rtc get
  time                  2026-10-31 12:00:0[0-9] [+]0100 (re)
  ahead of system time  -[0-9]+ s (re)
  $ varnel rtc set @1790000000
  $ varnel rtc get
  time                  2026-09-21 14:13:2[0-9] [+]0000 (re)
  ahead of system time  -[0-9]+ s (re)
  $ varnel rtc set now --verify
  $ varnel rtc set
  ! varnel: missing argument: TIME
  [2]
  $ varnel rtc set today
  ! varnel: TIME: 'today' is not now, YYYY-MM-DD HH:MM:SS or @SECONDS
  [2]
  $ varnel rtc set '2026-04-31 12:00:00'
  ! varnel: TIME: '2026-04-31 12:00:00' is not now, YYYY-MM-DD HH:MM:SS or @SECONDS
  [2]
  $ varnel rtc set '2026-04-30 12:00:00 '
  ! varnel: TIME: '2026-04-30 12:00:00 ' is not now, YYYY-MM-DD HH:MM:SS or @SECONDS
  [2]
  $ varnel rtc set @-5
  ! varnel: TIME: '-5' is not a number from 0 to 4294967295
  [2]
  $ varnel rtc set @99999999999
  ! varnel: TIME: '99999999999' is not a number from 0 to 4294967295
  [2]
  $ varnel-sim fault rtc nack --count 1
  $ varnel rtc get
  ! varnel: 0:0x68: read the time: no acknowledge (No such device or address)
  [1]
  $ varnel-sim fault rtc nack --count 1
  $ varnel rtc set now
  ! varnel: 0:0x68: set the time: no acknowledge (No such device or address)
  [1]
  $ varnel-sim fault rtc stuck --count 1
  $ varnel rtc get
  ! varnel: 0:0x68: read the time: timed out: the bus is held low
  [1]
