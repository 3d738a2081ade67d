SPDX-License-Identifier: Apache-2.0
  $ varnel mux get 0:0x70
  control   0x00
  channels  none
  $ varnel mux enable 0:0x70 0x05
  channels  0 2
  $ varnel mux get 0:0x70
  control   0x05
  channels  0 2
  $ varnel mux get 0:0x70 --json
  {
    "device": "0:0x70",
    "control": 5,
    "channels": [
      0,
      2
    ]
  }
  $ varnel mux enable 0:0x70 --channel 0,7 --verify
  $ varnel mux get 0:0x70
  control   0x81
  channels  0 7
  $ varnel mux enable 0:0x70 --channel 2
  $ varnel mux get 0:0x70
  control   0x04
  channels  2
  $ varnel mux enable 0:0x70 3
  channels  0 1
  $ varnel mux enable 0:0x70 0
  channels  none
  $ varnel mux enable 0:0x70 --channel 2
  $ varnel mux disable 0:0x70 --verify
  $ varnel mux get 0:0x70
  control   0x00
  channels  none
  $ varnel mux enable 0:0x70
  ! varnel: mux enable: either CONTROL, a bit per channel such as 0x04, or --channel N,N...
  [2]
  $ varnel mux enable 0:0x70 1 --channel 1
  ! varnel: mux enable: either CONTROL, a bit per channel such as 0x04, or --channel N,N...
  [2]
  $ varnel mux enable 0:0x70 256
  ! varnel: CONTROL: '256' is not a number from 0 to 255 (0xff)
  [2]
  $ varnel mux enable 0:0x70 --channel 8
  ! varnel: mux enable: this multiplexer has channels 0 to 7
  [2]
  $ varnel mux enable 0:0x70 --channel two
  ! varnel: --channel: 'two' is not a number from 0 to 255 (0xff)
  [2]
  $ varnel mux enable 0:0x71 0x0f --chip pca9546 --verify
  channels  0 1 2 3
  $ varnel mux get 0:0x71 --chip pca9546
  control   0x0f
  channels  0 1 2 3
  $ varnel mux enable 0:0x71 0x10 --chip pca9546
  ! varnel: mux enable: this multiplexer has channels 0 to 3
  [2]
  $ varnel mux enable 0:0x71 --channel 4 --chip pca9546
  ! varnel: mux enable: this multiplexer has channels 0 to 3
  [2]
  $ varnel mux disable 0:0x71 --chip pca9546 --verify
  $ varnel mux enable 0:0x71 0xff --verify
  ! varnel: 0:0x71: channels: wrote 0xff, reads 0x0f
  [1]
  $ varnel mux get 0:0x71 --chip pca9547
  ! varnel: --chip: 'pca9547' is not pca9548 or pca9546
  [2]
  $ varnel mux get 0:0x72
  ! varnel: 0:0x72: read channels: no acknowledge (No such device or address)
  [1]
  $ varnel mux enable 0:0x72 1
  ! varnel: 0:0x72: switch channels: no acknowledge (No such device or address)
  [1]
  $ varnel mux disable 0:0x72
  ! varnel: 0:0x72: switch channels: no acknowledge (No such device or address)
  [1]
  $ varnel mux get 0:0x72 --chip pca9546
  ! varnel: 0:0x72: read channels: no acknowledge (No such device or address)
  [1]
