SPDX-License-Identifier: Apache-2.0
  $ varnel smbus scan 0
  0:0x20
  0:0x24
  0:0x38
  0:0x50
  0:0x68
  0:0x70
  0:0x71
  0:0x74
  $ name=$(cat /sys/class/i2c-dev/i2c-0/name)
  $ varnel smbus scan "$name" | head -n 1
  0:0x20
  $ varnel smbus read-byte "$name:0x50" 0
  0x56
  $ varnel smbus scan none
  ! varnel: BUS: 'none' is not a number from 0 to 255 or a name in /sys/class/i2c-dev
  [2]
  $ varnel smbus scan 7
  ! varnel: bus 7: no such bus
  [1]
  $ varnel smbus scan
  ! varnel: missing argument: BUS
  [2]
  $ varnel-sim fault exp16 stuck --count 1
  $ varnel smbus scan 0
  ! varnel: 0:0x03: scan: timed out: the bus is held low
  [1]
  $ varnel smbus dump 0:0x50 | head -n 2
  00: 56 41 52 4e 45 4c ff ff ff ff ff ff ff ff ff ff
  10: ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff
  $ varnel smbus dump 0:0x50 | wc -l
  16
  $ varnel smbus dump 0:0x21
  ! varnel: 0:0x21: dump: no acknowledge (No such device or address)
  [1]

  $ varnel smbus quick 0:0x20
  $ varnel smbus quick 0:0x20 --read
  $ varnel smbus quick 0:0x21
  ! varnel: 0:0x21: quick command: no acknowledge (No such device or address)
  [1]
  $ varnel smbus send-byte 0:0x70 0x05
  $ varnel smbus receive-byte 0:0x70
  0x05
  $ varnel smbus receive-byte 0:0x70 --json
  {
    "device": "0:0x70",
    "value": 5
  }
  $ varnel smbus send-byte 0:0x70 0
  $ varnel smbus send-byte 0:0x70 256
  ! varnel: BYTE: '256' is not a number from 0 to 255 (0xff)
  [2]
  $ varnel smbus send-byte 0:0x70 -1
  ! varnel: BYTE: '-1' is not a number from 0 to 255 (0xff)
  [2]
  $ varnel smbus send-byte 0:0x21 1
  ! varnel: 0:0x21: send byte: no acknowledge (No such device or address)
  [1]
  $ varnel smbus receive-byte 0:0x21
  ! varnel: 0:0x21: receive byte: no acknowledge (No such device or address)
  [1]

  $ varnel smbus write-byte 0:0x20 2 0x55
  $ varnel smbus read-byte 0:0x20 0x02
  0x55
  $ varnel smbus read-byte 0:0x20 2 --json
  {
    "device": "0:0x20",
    "register": 2,
    "value": 85
  }
  $ varnel smbus write-byte 0:0x20 2 0xaa --verify
  $ varnel smbus write-byte 0:0x20 0 0x55 --verify
  ! varnel: 0:0x20: register 0x00: wrote 0x55, reads 0xff
  [1]
  $ varnel smbus write-byte 0:0x20 2
  ! varnel: missing argument: VALUE
  [2]
  $ varnel smbus write-byte 0:0x21 2 1
  ! varnel: 0:0x21: write register 0x02: no acknowledge (No such device or address)
  [1]
  $ varnel smbus read-byte 0:0x21 2
  ! varnel: 0:0x21: read register 0x02: no acknowledge (No such device or address)
  [1]
  $ varnel smbus read-byte 0:0x20 two
  ! varnel: REGISTER: 'two' is neither a number from 0 to 255 (0xff) nor a PMBus command such as STATUS_WORD
  [2]
  $ varnel smbus read-byte 0:0x20 256
  ! varnel: REGISTER: '256' is not a number from 0 to 255 (0xff)
  [2]
  $ varnel smbus read-byte 0:0x20 0xzz
  ! varnel: REGISTER: '0xzz' is not a number from 0 to 255 (0xff)
  [2]

  $ varnel smbus write-word 0:0x20 2 0x1234
  $ varnel smbus read-word 0:0x20 2
  0x1234
  $ varnel smbus read-byte 0:0x20 2
  0x34
  $ varnel smbus write-word 0:0x20 2 0xffff --verify
  $ varnel smbus write-word 0:0x20 0 0x1234 --verify
  ! varnel: 0:0x20: register 0x00: wrote 0x1234, reads 0xfeff
  [1]
  $ varnel smbus write-word 0:0x20 2 65536
  ! varnel: VALUE: '65536' is not a number from 0 to 65535 (0xffff)
  [2]
  $ varnel smbus write-word 0:0x21 2 1
  ! varnel: 0:0x21: write register 0x02: no acknowledge (No such device or address)
  [1]
  $ varnel smbus read-word 1:0x58 STATUS_WORD
  0x0000
  $ varnel smbus read-word 1:0x58 0x79 --json
  {
    "device": "1:0x58",
    "register": 121,
    "value": 0
  }
  $ varnel smbus read-byte 1:0x58 pmbus_revision
  0x22
  $ varnel smbus read-word 1:0x58 STATUS_WERD
  ! varnel: REGISTER: 'STATUS_WERD' is neither a number from 0 to 255 (0xff) nor a PMBus command such as STATUS_WORD
  [2]
  $ varnel smbus read-word 0:0x21 2
  ! varnel: 0:0x21: read register 0x02: no acknowledge (No such device or address)
  [1]

The chip's first byte is taken for a count.
  $ varnel smbus read-block 0:0x50 1 4
  0x52 0x4e 0x45 0x4c
  $ varnel smbus read-block 0:0x50 1 4 --json
  {
    "device": "0:0x50",
    "register": 1,
    "value": [
      82,
      78,
      69,
      76
    ]
  }
  $ varnel smbus read-block 0:0x50 1 0
  ! varnel: COUNT: '0' is not a number from 1 to 32
  [2]
  $ varnel smbus read-block 0:0x50 1 33
  ! varnel: COUNT: '33' is not a number from 1 to 32
  [2]
  $ varnel smbus read-block 0:0x21 1 4
  ! varnel: 0:0x21: read register 0x01: no acknowledge (No such device or address)
  [1]
  $ varnel smbus write-block 0:0x20 2 1 2
  $ varnel smbus write-block 0:0x20 2
  ! varnel: missing argument: BYTES
  [2]
  $ varnel smbus write-block 0:0x20 2 1 256
  ! varnel: BYTES: '256' is not a number from 0 to 255 (0xff)
  [2]
  $ varnel smbus write-block 0:0x20 2 $(seq 33)
  ! varnel: BYTES: At Most 32 required but received 33
  [2]
  $ varnel smbus write-block 0:0x21 2 1 2
  ! varnel: 0:0x21: write register 0x02: no acknowledge (No such device or address)
  [1]

  $ varnel smbus process-call 0:0x20 2 0x1234
  0x1234
  $ varnel smbus process-call 0:0x20 2 0x1234 --json
  {
    "device": "0:0x20",
    "register": 2,
    "value": 4660
  }
  $ varnel smbus process-call 0:0x21 2 1
  ! varnel: 0:0x21: process call of register 0x02: no acknowledge (No such device or address)
  [1]
  $ varnel smbus block-process-call 0:0x20 2 1 2 --read 2
  0x02 0x01
  $ varnel smbus block-process-call 0:0x20 2 1 2 --read 31
  ! varnel: 2 bytes to write and 31 to read are more than 32
  [2]
  $ varnel smbus block-process-call 0:0x20 2 1 2
  ! varnel: missing argument: --read
  [2]
  $ varnel smbus block-process-call 0:0x20 2 1 2 --read 0
  ! varnel: --read: '0' is not a number from 1 to 31
  [2]
  $ varnel smbus block-process-call 0:0x21 2 1 2 --read 2
  ! varnel: 0:0x21: process call of register 0x02: no acknowledge (No such device or address)
  [1]
  $ varnel smbus transfer 0:0x20 2 0x12 0x34
  $ varnel smbus transfer 0:0x20 2 --read 2
  0x12 0x34
  $ varnel smbus transfer 0:0x20 2 --read 2 --json
  {
    "device": "0:0x20",
    "value": [
      18,
      52
    ]
  }
  $ varnel smbus transfer 0:0x70 --read 1
  0x00
  $ varnel smbus transfer 0:0x20
  ! varnel: missing argument: BYTES or --read
  [2]
  $ varnel smbus transfer 0:0x20 $(seq 256 | sed 's/.*/1/')
  ! varnel: transfer: more than 255 bytes
  [2]
  $ varnel smbus transfer 0:0x21 --read 1
  ! varnel: 0:0x21: transfer: no acknowledge (No such device or address)
  [1]

Writing to what may be an EEPROM needs a yes; saying where to read does not.
  $ varnel smbus read-byte 0:0x50 0
  0x56
  $ varnel smbus transfer 0:0x50 0 --read 6
  0x56 0x41 0x52 0x4e 0x45 0x4c
  $ varnel smbus send-byte 0:0x50 0
  $ varnel smbus write-byte 0:0x50 0x10 0x42
  ! 0:0x50: write 0x42 to register 0x10; chips at 0x50 to 0x57 are EEPROMs, which keep it
  ! varnel: not confirmed: standard input is not a terminal (use --yes)
  [3]
  $ varnel smbus write-word 0:0x50 0x10 0x42
  ! 0:0x50: write 0x0042 to register 0x10; chips at 0x50 to 0x57 are EEPROMs, which keep it
  ! varnel: not confirmed: standard input is not a terminal (use --yes)
  [3]
  $ varnel smbus write-block 0:0x50 0x10 1 2
  ! 0:0x50: write a block of 0x01 0x02 to register 0x10; chips at 0x50 to 0x57 are EEPROMs, which keep it
  ! varnel: not confirmed: standard input is not a terminal (use --yes)
  [3]
  $ varnel smbus process-call 0:0x50 0x10 1
  ! 0:0x50: write 0x0001 to register 0x10; chips at 0x50 to 0x57 are EEPROMs, which keep it
  ! varnel: not confirmed: standard input is not a terminal (use --yes)
  [3]
  $ varnel smbus block-process-call 0:0x50 0x10 1 2 --read 1
  ! 0:0x50: write a block of 0x01 0x02 to register 0x10; chips at 0x50 to 0x57 are EEPROMs, which keep it
  ! varnel: not confirmed: standard input is not a terminal (use --yes)
  [3]
  $ varnel smbus transfer 0:0x50 0x10 0x42
  ! 0:0x50: write 0x10 0x42; chips at 0x50 to 0x57 are EEPROMs, which keep it
  ! varnel: not confirmed: standard input is not a terminal (use --yes)
  [3]
  $ varnel smbus read-byte 0:0x50 0x10
  0xff
  $ varnel smbus write-byte 0:0x50 0x10 0x42 --yes --verify
  ! 0:0x50: write 0x42 to register 0x10; chips at 0x50 to 0x57 are EEPROMs, which keep it
  $ varnel smbus write-word 0:0x50 0x12 0x3456 -y --verify
  ! 0:0x50: write 0x3456 to register 0x12; chips at 0x50 to 0x57 are EEPROMs, which keep it
  $ varnel smbus write-block 0:0x50 0x18 1 2 3 --yes --verify
  ! 0:0x50: write a block of 0x01 0x02 0x03 to register 0x18; chips at 0x50 to 0x57 are EEPROMs, which keep it
  $ varnel-sim set fru.wp high
  $ varnel smbus write-byte 0:0x50 0x10 0x43 --yes --verify
  ! 0:0x50: write 0x43 to register 0x10; chips at 0x50 to 0x57 are EEPROMs, which keep it
  ! varnel: 0:0x50: register 0x10: wrote 0x43, reads 0x42
  [1]
  $ varnel smbus write-block 0:0x50 0x18 4 5 6 --yes --verify
  ! 0:0x50: write a block of 0x04 0x05 0x06 to register 0x18; chips at 0x50 to 0x57 are EEPROMs, which keep it
  ! varnel: 0:0x50: register 0x18: wrote 0x04 0x05 0x06, reads 0x01 0x02 0x03
  [1]
  $ varnel-sim set fru.wp low

What can happen on a bus.
  $ varnel-sim fault exp16 nack --count 1
  $ varnel smbus read-byte 0:0x20 2
  ! varnel: 0:0x20: read register 0x02: no acknowledge (No such device or address)
  [1]
  $ varnel-sim fault exp16 short --count 1
  $ varnel smbus write-byte 0:0x20 2 1
  ! varnel: 0:0x20: write register 0x02: the transfer ended early
  [1]
  $ varnel-sim fault exp16 short --count 1
  $ varnel smbus read-byte 0:0x20 2
  ! varnel: 0:0x20: read register 0x02: Input/output error
  [1]
  $ varnel-sim fault exp16 stuck --count 1
  $ varnel smbus read-byte 0:0x20 2
  ! varnel: 0:0x20: read register 0x02: timed out: the bus is held low
  [1]
  $ varnel smbus read-byte 7:0x20 2
  ! varnel: bus 7: no such bus
  [1]

  $ varnel smbus read-byte 0:0x20 2 >/dev/full
  ! varnel: standard output: No space left on device
  [1]

Reading what a supply does not have is a fault to it, so this comes last.
  $ varnel smbus scan 1 --json
  {
    "bus": 1,
    "devices": [
      "1:0x58",
      "1:0x5b",
      "1:0x5c",
      "1:0x75"
    ]
  }
  $ varnel smbus dump 1:0x58 | grep -c -- ' --'
  [0-9]+ (re)
  $ varnel smbus dump 1:0x58 --json | tr -d ' \n' | cut -c1-36
  {"device":"1:0x58","registers":[null
  $ varnel smbus read-word 1:0x58 STATUS_WORD
  0x0002
