SPDX-License-Identifier: Apache-2.0
No board is needed for any of these.
  $ varnel --version
  varnel 1.0.0
  $ varnel
  ! varnel: missing verb \(one of smbus, gpio, mux, bus, psu, rtc.*\); see --help (re)
  [2]
  $ varnel --nope
  ! varnel: unexpected argument: --nope
  [2]
  $ varnel nope
  ! varnel: unexpected argument: nope
  [2]
  $ varnel psu
  ! varnel: psu: missing verb (one of status, get, fan, output, voltage, clear, unprotect); see --help
  [2]
  $ varnel psu nope
  ! varnel: unexpected argument: nope
  [2]
  $ varnel psu stat 1:0x58
  ! varnel: unexpected argument: stat; did you mean 'status'?
  [2]
  $ varnel gipo list
  ! varnel: unexpected argument: gipo; did you mean 'gpio'?
  [2]
  $ varnel psu status 1:0x58 --jsno
  ! varnel: unexpected argument: --jsno; did you mean '--json'?
  [2]
  $ varnel help
  ! varnel: unexpected argument: help; did you mean '--help'?
  [2]
  $ varnel psu --json
  ! varnel: unexpected argument: --json
  [2]
  $ varnel psu status
  ! varnel: missing argument: DEVICE
  [2]
  $ varnel psu status 1:0x58 1:0x59
  ! varnel: unexpected argument: 1:0x59
  [2]
  $ varnel psu status 1:0x58 --nope
  ! varnel: unexpected argument: --nope
  [2]

A device is BUS:ADDRESS, the address in hexadecimal.
  $ varnel psu status 1
  ! varnel: '1' is not BUS:ADDRESS, such as 1:0x58
  [2]
  $ varnel psu status 1:58
  ! varnel: '1:58' is not BUS:ADDRESS, such as 1:0x58
  [2]
  $ varnel psu status :0x58
  ! varnel: :0x58: bus: '' is not a number from 0 to 255 or a name in /sys/class/i2c-dev
  [2]
  $ varnel psu status 256:0x58
  ! varnel: 256:0x58: bus: '256' is not a number from 0 to 255 or a name in /sys/class/i2c-dev
  [2]
  $ varnel psu status 0x100:0x58
  ! varnel: 0x100:0x58: bus: '0x100' is not a number from 0 to 255 or a name in /sys/class/i2c-dev
  [2]
  $ varnel psu status 1:0x
  ! varnel: 1:0x: address: '0x' is not a number from 0 to 255 (0xff)
  [2]
  $ varnel psu status 1:0x5g
  ! varnel: 1:0x5g: address: '0x5g' is not a number from 0 to 255 (0xff)
  [2]
  $ varnel psu status 1:0x02
  ! varnel: 1:0x02: a 7-bit address is 0x03 to 0x77
  [2]
  $ varnel psu status 1:0x78
  ! varnel: 1:0x78: a 7-bit address is 0x03 to 0x77
  [2]
  $ varnel psu status 1:0x158
  ! varnel: 1:0x158: address: '0x158' is not a number from 0 to 255 (0xff)
  [2]
  $ varnel psu status ''
  ! varnel: '' is not BUS:ADDRESS, such as 1:0x58
  [2]

Times.
  $ varnel psu status 1:0x58 --watch 5
  ! varnel: --watch: '5' is not a time, such as 500ms, 1s or 2m
  [2]
  $ varnel psu status 1:0x58 --watch s
  ! varnel: --watch: 's' is not a time, such as 500ms, 1s or 2m
  [2]
  $ varnel psu status 1:0x58 --watch 0s
  ! varnel: --watch: '0s' is not a time, such as 500ms, 1s or 2m
  [2]
  $ varnel psu status 1:0x58 --watch -1s
  ! varnel: --watch: '-1s' is not a time, such as 500ms, 1s or 2m
  [2]
  $ varnel psu status 1:0x58 --watch 25000m
  ! varnel: --watch: '25000m' is not a time, such as 500ms, 1s or 2m
  [2]
  $ varnel psu status 1:0x58 --count 3
  ! varnel: --count requires --watch
  [2]
  $ varnel psu status 1:0x58 --watch 1s --count many
  ! varnel: --count: 'many' is not a number from 1 to 4294967295
  [2]

No platform answers on that bus.
  $ varnel psu status 255:0x58
  ! varnel: bus 255: no such bus
  [1]
  $ varnel gpio get 255:0x20 3
  ! varnel: bus 255: no such bus
  [1]
  $ varnel gpio set 255:0x20 3 high
  ! varnel: bus 255: no such bus
  [1]
  $ varnel gpio list 255:0x24 --chip pca9505
  ! varnel: bus 255: no such bus
  [1]
  $ varnel mux get 255:0x70
  ! varnel: bus 255: no such bus
  [1]
  $ varnel bus take 255:0x74
  ! varnel: bus 255: no such bus
  [1]
  $ varnel smbus quick 255:0x20
  ! varnel: bus 255: no such bus
  [1]
  $ varnel psu output 255:0x58 off --yes
  ! 255:0x58: output off: what this supply feeds loses power
  ! varnel: bus 255: no such bus
  [1]

Data that cannot be written is an error; a reader that went away is none.
  $ varnel --help >/dev/null; echo $?
  0
  $ varnel psu status --help | head -n 2
  Show all readings, and faults in words
  Usage: varnel psu status [OPTIONS] DEVICE

Facts about models are those of their tables.
  $ varnel gpio bank --help | grep -o 'pca9555: .*'
  pca9555: 0 to 1; pca9554: 0; pca9505: 0 to 4
  $ varnel gpio unmask --help | grep -o 'pca9505: .*'
  pca9505: 0 to 4
  $ varnel mux get --help | grep -o 'pca9548|[^ ]*'
  pca9548|pca9546
