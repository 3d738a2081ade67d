SPDX-License-Identifier: Apache-2.0
  $ varnel gpio list 0:0x20
  PIN  DIRECTION  LEVEL  OUTPUT  NAME
  0    input      high   high
  1    input      high   high
  2    input      high   high
  3    input      high   high
  4    input      high   high
  5    input      high   high
  6    input      high   high
  7    input      high   high
  8    input      low    high    absent
  9    input      high   high
  10   input      high   high
  11   input      high   high
  12   input      high   high
  13   input      high   high
  14   input      high   high
  15   input      high   high
  $ varnel gpio get 0:0x20 7 8 1.0
  high
  low
  low
  $ varnel gpio get 0:0x20 7 8 --json
  {
    "device": "0:0x20",
    "pins": {
      "7": "high",
      "8": "low"
    }
  }
  $ varnel gpio get 0:0x20 0x8
  low
  $ varnel gpio get 0:0x20
  ! varnel: missing argument: PIN
  [2]
  $ varnel gpio get 0:0x20 16
  ! varnel: PIN: '16' is not a number from 0 to 15
  [2]
  $ varnel gpio get 0:0x20 2.0
  ! varnel: PIN 2.0: bank: '2' is not a number from 0 to 1
  [2]
  $ varnel gpio get 0:0x20 1.8
  ! varnel: PIN 1.8: bit: '8' is not a number from 0 to 7
  [2]
  $ varnel gpio get 0:0x20 present
  ! varnel: PIN: 'present' is not a number from 0 to 15
  [2]
  $ varnel gpio get 0:0x20 3 --chip pca9999
  ! varnel: --chip: 'pca9999' is not pca9555, pca9554 or pca9505
  [2]
  $ varnel gpio get 0:0x21 3
  ! varnel: 0:0x21: read levels: no acknowledge (No such device or address)
  [1]
  $ varnel gpio list 0:0x21
  ! varnel: 0:0x21: read directions: no acknowledge (No such device or address)
  [1]
  $ varnel gpio dir 0:0x21 3
  ! varnel: 0:0x21: read directions: no acknowledge (No such device or address)
  [1]
  $ varnel gpio dir 0:0x21 3 input
  ! varnel: 0:0x21: read directions: no acknowledge (No such device or address)
  [1]

The board's file names pins of a chip.
  $ varnel gpio get 0:0x20 absent 7
  low
  high
  $ varnel gpio get 0:0x20 absent --json
  {
    "device": "0:0x20",
    "pins": {
      "8": "low"
    }
  }
  $ varnel gpio list 0:0x20 --json | grep name
        "name": "absent"
  $ varnel gpio dir 0:0x20 7 absent
  input
  input
  $ varnel gpio dir 0:0x20 absent output --verify
  $ varnel gpio dir 0:0x20 absent input
  $ varnel gpio get 0:0x24 absent --chip pca9505
  ! varnel: PIN: 'absent' is not a number from 0 to 39
  [2]
  $ VARNEL_SIM_BOARD=/none varnel gpio get 0:0x20 absent
  ! varnel: PIN: 'absent' is not a number from 0 to 15
  [2]

Waiting for levels.
  $ varnel gpio wait 0:0x20 7 high absent low
  $ (varnel gpio wait 0:0x20 absent high 7 low --every 1ms; echo came) &
  $ varnel-sim set exp16.absent high exp16.7 low; wait
  came
  $ varnel-sim set exp16.absent low exp16.7 float
  $ varnel gpio wait 0:0x20 7 low --timeout 30ms
  ! varnel: 0:0x20: pin 7 is high after 30 ms
  [1]
  $ varnel gpio wait 0:0x20 7
  ! varnel: missing argument: high or low for pin 7
  [2]
  $ varnel gpio wait 0:0x21 7 low
  ! varnel: 0:0x21: read levels: no acknowledge (No such device or address)
  [1]

A level waits until the pin is an output. Other pins keep what they are set to, whatever level they have.
  $ varnel gpio set 0:0x20 4 low
  $ varnel gpio get 0:0x20 4
  high
  $ varnel gpio set 0:0x20 4 low --verify
  ! varnel: 0:0x20: pin 4: set to low, reads high; it is an input
  [1]
  $ varnel gpio dir 0:0x20 4 output 5 output --verify
  $ varnel gpio dir 0:0x20 4 5 6
  output
  output
  input
  $ varnel gpio dir 0:0x20 4 6 --json
  {
    "device": "0:0x20",
    "pins": {
      "4": "output",
      "6": "input"
    }
  }
  $ varnel gpio set 0:0x20 4 low 5 high --verify
  $ varnel-sim set exp16.5 low
  $ varnel gpio set 0:0x20 5 high --verify
  ! varnel: 0:0x20: pin 5: set to high, reads low
  [1]
  $ varnel gpio set 0:0x20 4 high
  $ varnel-sim set exp16.5 float
  $ varnel gpio get 0:0x20 4 5
  high
  high
  $ varnel gpio set 0:0x20 4
  ! varnel: missing argument: high or low for pin 4
  [2]
  $ varnel gpio set 0:0x20 4 up
  ! varnel: pin 4: 'up' is not high or low
  [2]
  $ varnel gpio set 0:0x20 4 low 16 low
  ! varnel: PIN: '16' is not a number from 0 to 15
  [2]
  $ varnel gpio get 0:0x20 4
  high
  $ varnel gpio dir 0:0x20 4 inptu
  ! varnel: pin 4: 'inptu' is not input or output
  [2]
  $ varnel gpio dir 0:0x20 4 input 5
  ! varnel: missing argument: input or output for pin 5
  [2]
  $ varnel gpio set 0:0x21 4 low
  ! varnel: 0:0x21: read outputs: no acknowledge (No such device or address)
  [1]

  $ varnel gpio bank 0:0x20 1
  0xfe
  $ varnel gpio bank 0:0x20 0 --of output --json
  {
    "device": "0:0x20",
    "output": 255
  }
  $ varnel gpio bank 0:0x20 0 --of direction
  0xcf
  $ varnel gpio bank 0:0x20 0 0x0f --of output --verify
  $ varnel gpio bank 0:0x20 0 0xff --of direction --verify
  $ varnel gpio bank 0:0x20 0 1
  ! varnel: gpio bank: levels are read; --of output or --of direction is written
  [2]
  $ varnel gpio bank 0:0x20 2
  ! varnel: BANK: '2' is not a number from 0 to 1
  [2]
  $ varnel gpio bank 0:0x20 0 256 --of output
  ! varnel: VALUE: '256' is not a number from 0 to 255 (0xff)
  [2]
  $ varnel gpio bank 0:0x20 0 --of polarity
  ! varnel: --of: 'polarity' is not level, output or direction
  [2]
  $ varnel-sim fault exp16 flip --count 1
  $ varnel gpio bank 0:0x20 0 0x0f --of output --verify
  ! varnel: 0:0x20: output of bank 0: wrote 0x0f, reads 0x0e
  [1]

  $ varnel gpio init 0:0x20 --outputs 0,1,15 --high 0,15
  $ varnel smbus transfer 0:0x20 2 --read 2
  0x01 0x80
  $ varnel smbus transfer 0:0x20 6 --read 2
  0xfc 0x7f
  $ varnel gpio init 0:0x20 --inputs 0,1,15 --low 0,15
  $ varnel smbus transfer 0:0x20 2 --read 2
  0xfe 0x7f
  $ varnel smbus transfer 0:0x20 6 --read 2
  0x03 0x80
  $ varnel gpio init 0:0x20
  ! varnel: missing argument: --outputs or --inputs, --high or --low
  [2]
  $ varnel gpio init 0:0x20 --inputs 0 --outputs 1
  ! varnel: gpio init: either --outputs or --inputs: all other pins become the opposite
  [2]
  $ varnel gpio init 0:0x20 --high 0 --low 1
  ! varnel: gpio init: either --high or --low: all other pins become the opposite
  [2]
  $ varnel gpio init 0:0x20 --high 0,16
  ! varnel: PIN: '16' is not a number from 0 to 15
  [2]
  $ varnel gpio init 0:0x21 --high 0
  ! varnel: 0:0x21: write outputs: no acknowledge (No such device or address)
  [1]
  $ varnel gpio unmask 0:0x20 0
  ! varnel: gpio unmask: only a PCA9505 has interrupt masks; --chip pca9505
  [2]

  $ varnel gpio list 0:0x38 --chip pca9554
  PIN  DIRECTION  LEVEL  OUTPUT
  0    input      low    high
  1    input      high   high
  2    input      high   high
  3    input      high   high
  4    input      high   high
  5    input      high   high
  6    input      high   high
  7    input      high   high
  $ varnel gpio set 0:0x38 7 low --chip pca9554
  $ varnel gpio dir 0:0x38 7 output --chip pca9554 --verify
  $ varnel gpio get 0:0x38 7 --chip pca9554
  low
  $ varnel gpio get 0:0x38 8 --chip pca9554
  ! varnel: PIN: '8' is not a number from 0 to 7
  [2]
  $ varnel gpio init 0:0x38 --outputs 0,1 --low 0 --chip pca9554
  $ varnel smbus read-byte 0:0x38 1
  0xfe
  $ varnel smbus read-byte 0:0x38 3
  0xfc
  $ varnel gpio init 0:0x38 --inputs 0,1 --high 0 --chip pca9554
  $ varnel smbus read-byte 0:0x38 1
  0x01
  $ varnel smbus read-byte 0:0x38 3
  0x03
  $ varnel gpio get 0:0x39 1 --chip pca9554
  ! varnel: 0:0x39: read levels: no acknowledge (No such device or address)
  [1]

  $ varnel gpio list 0:0x24 --chip pca9505 | head -n 3
  PIN  DIRECTION  LEVEL  OUTPUT
  0.0  input      high   low
  0.1  input      high   low
  $ varnel gpio set 0:0x24 4.7 high --chip pca9505
  $ varnel gpio dir 0:0x24 4.7 output 4.6 output --chip pca9505 --verify
  $ varnel gpio get 0:0x24 4.7 38 --chip pca9505 --json
  {
    "device": "0:0x24",
    "pins": {
      "4.7": "high",
      "4.6": "low"
    }
  }
  $ varnel gpio dir 0:0x24 4.6 input --chip pca9505
  $ varnel gpio set 0:0x24 4.7 low --chip pca9505 --verify
  $ varnel gpio init 0:0x24 --outputs 0.0,4.7 --low 0.1 --chip pca9505
  $ varnel smbus transfer 0:0x24 0x88 --read 5
  0xfd 0xff 0xff 0xff 0xff
  $ varnel smbus transfer 0:0x24 0x98 --read 5
  0xfe 0xff 0xff 0xff 0x7f
  $ varnel gpio unmask 0:0x24 4 --chip pca9505
  $ varnel smbus transfer 0:0x24 0xa0 --read 5
  0xff 0xff 0xff 0xff 0x00
  $ varnel gpio unmask 0:0x24 5 --chip pca9505
  ! varnel: BANK: '5' is not a number from 0 to 4
  [2]
  $ varnel gpio unmask 0:0x25 4 --chip pca9505
  ! varnel: 0:0x25: clear interrupt mask: no acknowledge (No such device or address)
  [1]
  $ varnel gpio set 0:0x25 4.7 high --chip pca9505
  ! varnel: 0:0x25: write outputs: no acknowledge (No such device or address)
  [1]
  $ varnel gpio list 0:0x25 --chip pca9505
  ! varnel: 0:0x25: read directions: no acknowledge (No such device or address)
  [1]
