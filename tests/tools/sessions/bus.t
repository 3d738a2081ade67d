SPDX-License-Identifier: Apache-2.0
  $ varnel bus status 0:0x74
  owner      this master
  connected  none
  control    0x00
  $ varnel bus take 0:0x74
  $ varnel bus status 0:0x74
  owner      this master
  connected  this master
  control    0x14
  $ varnel bus status 1:0x75 --json
  {
    "device": "1:0x75",
    "owner": "other master",
    "connected": "other master",
    "control": 10
  }
  $ varnel bus interrupts 0:0x74
  status      0x02
  interrupts  BUSINIT
  $ varnel bus interrupts 0:0x74 --json
  {
    "device": "0:0x74",
    "status": 0,
    "interrupts": []
  }
  $ varnel bus release 1:0x75
  $ varnel bus status 0:0x74
  owner      this master
  connected  this master
  control    0x14
  $ varnel bus release 0:0x74
  $ varnel bus status 0:0x74
  owner      this master
  connected  none
  control    0x00
  $ varnel bus take 1:0x75
  $ varnel bus status 0:0x74
  owner      other master
  connected  other master
  control    0x0a
  $ varnel bus release 1:0x75
  $ varnel bus take 0:0x74
  $ varnel bus clear 0:0x74
  $ varnel bus interrupts 0:0x74
  status      0x00
  interrupts  none
  $ varnel bus mask 0:0x74 0x0f
  $ varnel smbus read-byte 0:0x74 0
  0x0f
  $ varnel bus mask 0:0x74 256
  ! varnel: MASK: '256' is not a number from 0 to 255 (0xff)
  [2]
  $ varnel bus mask 0:0x74
  ! varnel: missing argument: MASK
  [2]
At the address of an expander, nothing is as a selector would have it.
  $ varnel bus take 0:0x38
  ! varnel: 0:0x38: the bus is not ours: control register 0x11
  [1]
  $ varnel bus status 0:0x73
  ! varnel: 0:0x73: read control register: no acknowledge (No such device or address)
  [1]
  $ varnel bus take 0:0x73
  ! varnel: 0:0x73: take the bus: no acknowledge (No such device or address)
  [1]
  $ varnel bus release 0:0x73
  ! varnel: 0:0x73: read control register: no acknowledge (No such device or address)
  [1]
  $ varnel bus interrupts 0:0x73
  ! varnel: 0:0x73: read interrupt status: no acknowledge (No such device or address)
  [1]
  $ varnel bus clear 0:0x73
  ! varnel: 0:0x73: clear interrupt status: no acknowledge (No such device or address)
  [1]
  $ varnel bus mask 0:0x73 1
  ! varnel: 0:0x73: write interrupt mask: no acknowledge (No such device or address)
  [1]
