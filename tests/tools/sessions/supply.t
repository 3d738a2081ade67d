SPDX-License-Identifier: Apache-2.0
LINEAR16 counts 1/512 V, DIRECT here 1 mV.
  $ varnel smbus read-byte 1:0x5b VOUT_MODE
  0x17
  $ varnel smbus write-word 1:0x5b VOUT_COMMAND $((23 * 256)) --verify
  $ varnel smbus read-word 1:0x5b READ_VOUT
  0x1700
  $ varnel-sim show rails | grep -o 'output.0.*'
  output.0       11.500 V
  $ varnel smbus read-byte 1:0x5c VOUT_MODE
  0x40
  $ varnel smbus block-process-call 1:0x5c COEFFICIENTS 0x8b 1 --read 5
  0x01 0x00 0x00 0x00 0x03
  $ varnel smbus write-word 1:0x5c VOUT_COMMAND 11500 --verify
  $ varnel smbus read-word 1:0x5c READ_VOUT
  0x2cec
  $ varnel-sim show direct | grep -o 'output.0.*'
  output.0       11.500 V

  $ varnel smbus write-byte 1:0x5b PAGE 1 --verify
  $ varnel smbus read-word 1:0x5b READ_VOUT
  0x069a
  $ varnel smbus write-byte 1:0x5b PAGE 0xff
  $ varnel smbus write-byte 1:0x5b OPERATION 0
  $ varnel-sim show rails | grep -o 'output.*'
  output.0       off
  output.1       off
  $ varnel smbus write-byte 1:0x5b OPERATION 0x80
  $ varnel smbus write-byte 1:0x5b PAGE 0
  $ varnel smbus read-block 1:0x5b MFR_ID 4
  0x41 0x43 0x4d 0x45

A packet error code after PAGE: a wrong one, and the right one.
  $ varnel smbus transfer 1:0x5b 0 1 0x91
  ! varnel: 1:0x5b: transfer: * (glob)
  [1]
  $ varnel smbus read-byte 1:0x5b STATUS_CML
  0x20
  $ varnel smbus transfer 1:0x5b 0 0 0x97
  $ varnel smbus send-byte 1:0x5b 3
  $ varnel smbus read-byte 1:0x5b STATUS_CML
  0x00

A load over a limit alerts.
  $ varnel smbus receive-byte 1:0x0c
  ! varnel: 1:0x0c: receive byte: no acknowledge (No such device or address)
  [1]
  $ varnel-sim set rails.load.0 1.21kW
  $ varnel smbus receive-byte 1:0x0c
  0xb6
  $ varnel smbus receive-byte 1:0x0c
  ! varnel: 1:0x0c: receive byte: no acknowledge (No such device or address)
  [1]
  $ varnel-sim set rails.load.0 100W
  $ varnel smbus read-word 1:0x5b STATUS_WORD
  0x4001
  $ varnel smbus send-byte 1:0x5b 3
  $ varnel smbus read-word 1:0x5b STATUS_WORD
  0x0000

  $ varnel-sim fault rails nack --count 1
  $ varnel smbus read-word 1:0x5b READ_VOUT
  ! varnel: 1:0x5b: read register 0x8b: no acknowledge (No such device or address)
  [1]
  $ varnel-sim set rails.load.2 1W 2>&1 | cut -c 1-60
  varnel-sim: rails: unknown setting 'load.2' (has: pages, for
