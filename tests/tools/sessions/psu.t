SPDX-License-Identifier: Apache-2.0
  $ varnel psu status 1:0x58
  output          12.00 V
  output-setting  12.00 V
  input           230.0 V
  input-power     15.0 W
  temperature     25.[0-9] C (re)
  fan-speed       10000 rpm
  fan-duty        50 %
  firmware        0x10
  status          0x0000  ok
  $ varnel psu status 1:0x58 --json
  {
    "device": "1:0x58",
    "output_volts": 12.0,
    "output_setting_volts": 12.0,
    "input_volts": 230.0,
    "input_power_watts": 15.0,
    "temperature_celsius": 25.[0-9], (re)
    "fan_speed_rpm": 10000,
    "fan_duty_percent": 50,
    "firmware": 16,
    "status_word": 0,
    "faults": [],
    "details": {
      "STATUS_VOUT": {
        "value": 0,
        "faults": []
      },
      "STATUS_IOUT": {
        "value": 0,
        "faults": []
      },
      "STATUS_INPUT": {
        "value": 0,
        "faults": []
      },
      "STATUS_TEMPERATURE": {
        "value": 0,
        "faults": []
      },
      "STATUS_CML": {
        "value": 0,
        "faults": []
      },
      "STATUS_MFR_SPECIFIC": {
        "value": 0,
        "faults": []
      },
      "STATUS_FANS_1_2": {
        "value": 0,
        "faults": []
      }
    }
  }
  $ varnel psu get 1:0x58 input
  230.0 V
  $ varnel psu get 1:0x58 firmware
  0x10
  $ varnel psu get 1:0x58 fan-duty --json
  {
    "device": "1:0x58",
    "fan_duty_percent": 50
  }
  $ varnel psu get 1:0x58 output-setting --json
  {
    "device": "1:0x58",
    "output_setting_volts": 12.0
  }
  $ varnel psu get 1:0x58 wattage
  ! varnel: READING: 'wattage' is not output, output-setting, input, input-power, temperature, fan-speed, fan-duty, firmware or status
  [2]
  $ varnel psu get 1:0x59 output
  ! varnel: 1:0x59: output: no acknowledge (No such device or address)
  [1]

  $ varnel psu fan 1:0x58
  fan-duty   50 %
  fan-speed  10000 rpm
  $ varnel psu fan 1:0x58 --at-least 60 --verify
  $ varnel psu fan 1:0x58 --at-least 40% --verify
  $ varnel psu get 1:0x58 fan-duty
  60 %
  $ varnel psu fan 1:0x58 30% --verify
  $ varnel psu get 1:0x58 fan-duty
  30 %
  $ varnel psu fan 1:0x58 --rpm 12000
  $ varnel smbus read-word 1:0x58 FAN_COMMAND_1
  0x2ee0
  $ varnel psu fan 1:0x58 50 --verify
  ! varnel: 1:0x58: fan-duty: wrote 50 %, reads 60 %
  [1]
  $ varnel psu fan 1:0x58 --rpm 0 --verify
  $ varnel psu fan 1:0x58 60
  $ varnel psu fan 1:0x58 50 --rpm 0
  ! varnel: psu fan: one of PERCENT, --at-least and --rpm
  [2]
  $ varnel psu fan 1:0x58 101
  ! varnel: PERCENT: '101' is not a number from 0 to 100
  [2]
  $ varnel psu fan 1:0x58 --at-least 101%
  ! varnel: PERCENT: '101' is not a number from 0 to 100
  [2]
  $ varnel psu fan 1:0x58 --rpm 20001
  ! varnel: --rpm: '20001' is not a number from 0 to 20000
  [2]
  $ varnel psu fan 1:0x59
  ! varnel: 1:0x59: fan-duty: no acknowledge (No such device or address)
  [1]
  $ varnel psu fan 1:0x59 50
  ! varnel: 1:0x59: set fan duty: no acknowledge (No such device or address)
  [1]
  $ varnel psu fan 1:0x59 --at-least 50
  ! varnel: 1:0x59: raise fan duty: no acknowledge (No such device or address)
  [1]
  $ varnel psu fan 1:0x59 --rpm 50
  ! varnel: 1:0x59: set fan speed: no acknowledge (No such device or address)
  [1]

  $ varnel psu output 1:0x58 off
  ! 1:0x58: output off: what this supply feeds loses power
  ! varnel: not confirmed: standard input is not a terminal (use --yes)
  [3]
  $ varnel psu get 1:0x58 output
  12.00 V
  $ varnel psu output 1:0x58 off --yes --verify
  ! 1:0x58: output off: what this supply feeds loses power
  $ varnel psu get 1:0x58 output
  0.00 V
  $ varnel psu output 1:0x58 on --verify
  $ varnel psu get 1:0x58 output
  12.00 V
  $ varnel psu output 1:0x58 maybe
  ! varnel: STATE: 'maybe' is not on or off
  [2]
  $ varnel psu output 1:0x59 on
  ! varnel: 1:0x59: output on: no acknowledge (No such device or address)
  [1]
  $ varnel psu output 1:0x59 off --yes
  ! 1:0x59: output off: what this supply feeds loses power
  ! varnel: 1:0x59: output off: no acknowledge (No such device or address)
  [1]

  $ varnel psu voltage 1:0x58
  12.00 V
  $ varnel psu voltage 1:0x58 12.05V
  ! 1:0x58: output voltage from 12.00 V to 12.05 V
  ! varnel: not confirmed: standard input is not a terminal (use --yes)
  [3]
  $ varnel psu voltage 1:0x58 12.05V --yes --verify
  ! 1:0x58: output voltage from 12.00 V to 12.05 V
  $ varnel psu voltage 1:0x58 --json
  {
    "device": "1:0x58",
    "output_setting_volts": 12.05
  }
  $ varnel psu get 1:0x58 output
  12.05 V
  $ varnel psu voltage 1:0x58 13.21
  ! varnel: VOLTS: '13.21' is not a voltage from 10.80 to 13.20 in steps of 0.01
  [2]
  $ varnel psu voltage 1:0x58 10.79
  ! varnel: VOLTS: '10.79' is not a voltage from 10.80 to 13.20 in steps of 0.01
  [2]
  $ varnel psu voltage 1:0x58 12.005
  ! varnel: VOLTS: '12.005' is not a voltage from 10.80 to 13.20 in steps of 0.01
  [2]
  $ varnel psu voltage 1:0x58 12mV
  ! varnel: VOLTS: '12mV' is not a voltage from 10.80 to 13.20 in steps of 0.01
  [2]
  $ varnel psu voltage 1:0x59
  ! varnel: 1:0x59: output-setting: no acknowledge (No such device or address)
  [1]
  $ varnel psu voltage 1:0x59 12 --yes
  ! varnel: 1:0x59: output-setting: no acknowledge (No such device or address)
  [1]

Faults stay until they are cleared.
  $ varnel-sim set psu.input lost
  $ varnel psu get 1:0x58 status
  0x2849
  $ varnel-sim set psu.input 230V
  $ varnel psu status 1:0x58 | tail -n +7
  fan-duty        60 %
  firmware        0x10
  status          0x2009  input, input undervoltage, other fault
    STATUS_INPUT  0x38  undervoltage warning, undervoltage fault, off for want of input
  $ varnel psu clear 1:0x58
  $ varnel psu status 1:0x58 | tail -n +7
  fan-duty        60 %
  firmware        0x10
  status          0x0000  ok
  $ varnel smbus write-byte 1:0x58 WRITE_PROTECT 0x80
  $ varnel psu unprotect 1:0x58
  $ varnel smbus read-byte 1:0x58 WRITE_PROTECT
  0x00
  $ varnel psu clear 1:0x59
  ! varnel: 1:0x59: clear faults: no acknowledge (No such device or address)
  [1]
  $ varnel psu unprotect 1:0x59
  ! varnel: 1:0x59: cancel write protection: no acknowledge (No such device or address)
  [1]
  $ varnel-sim set psu.ambient -10C

Not to a terminal, views come one after the other; what does not answer does not end them.
  $ varnel psu get 1:0x58 input --watch 1ms --count 0
  ! varnel: --count: '0' is not a number from 1 to 4294967295
  [2]
  $ varnel psu get 1:0x58 input --watch 1ms --count 3
  230.0 V
  230.0 V
  230.0 V
  $ varnel psu get 1:0x59 input --watch 1ms --count 2
  ! varnel: 1:0x59: input: no acknowledge (No such device or address)
  ! varnel: 1:0x59: input: no acknowledge (No such device or address)

The speed decides, whatever the duty cycle is set to.
  $ varnel psu fan 1:0x58 --rpm 7000 --verify
  $ varnel psu fan 1:0x58 --at-least 80 --verify
  ! varnel: 1:0x58: fan-duty: wanted at least 80 %, reads 35 %
  [1]

A disturbed bus: --verify sees that nothing good came of it.
  $ varnel-sim fault psu flip --rate 1
  $ varnel psu output 1:0x58 off --yes --verify
  ! 1:0x58: output off: what this supply feeds loses power
  ! varnel: 1:0x58: OPERATION: wrote 0x00, reads 0x42
  [1]
  $ varnel psu voltage 1:0x58 12.10 --yes --verify
  ! 1:0x58: output voltage from .* V to 12.10 V (re)
  ! varnel: 1:0x58: set output voltage: Input/output error
  [1]
