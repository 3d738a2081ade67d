/* SPDX-License-Identifier: Apache-2.0

The selector of one of two bus masters (varnel/pca9541.h), whose masters may be killed.

Calls: pca9541_take_bus, pca9541_read_ctrl, pca9541_get_intstatus, pca9541_clear_intstatus, smbus_send_byte_to_device,
Calls: smbus_recv_byte_to_device

Modelled: each master clears its interrupt status, takes the bus and reads the control register until the bus is its own or
it gives up, writes its mark to a device on the bus, reads it back and reads the interrupt status. A step is one transfer: the
selector sees those of both masters one after the other, and connects nobody at power-on. A master may be killed before each
step; the selector does not notice that.

Found in all runs, from any state of the selector (ANY_STATE):
- A take ends with the bus connected to its master, unless the other master writes between its two transfers. A master
  that is alone, because the other was killed, therefore gets the bus.
- The control register says which master has the bus.
- When the write and the read of the mark are acknowledged, the other master wrote nothing in between.
- A master that lost the bus finds BUS_LOST in an interrupt status that it cleared before it took the bus.

POLITE: a master takes the bus only when nobody has it. TAKES_AGAIN: it takes it again before it reads its mark.

Left out: interrupt lines and their mask, failing transfers, RESET, other users on the side of one master.

sources: src/devices/pca9541.cpp src/smbus/smbus.cpp

run any_state      -DANY_STATE -DTRIES=2 -DDEATHS=1      finds nothing
run both_take      -DTRIES=2 -DWITNESS=!nobody           finds !(((gave_up     replay agrees
run stolen         -DWITNESS=!stolen                     finds !(stolen        replay agrees
run killed_with_it -DDEATHS=1 -DWITNESS=!inherited       finds !(((left_by     replay agrees
run polite         -DPOLITE                              finds (inside==1)     replay agrees
run takes_again    -DTAKES_AGAIN                         finds (answer==       replay agrees
run mybus_only     -DBREAK_MYBUS_ONLY                    finds (mine==         replay agrees
run own_bit        -DBREAK_OWN_BIT                       finds (disturbed      replay differs
run always_on      -DBREAK_ALWAYS_ON                     finds (disturbed      replay differs
run without_read   -DBREAK_WITHOUT_READ                  finds (disturbed      replay differs
run takes_back     -DBREAK_TAKES_BACK                    finds (answer==       replay differs
run clears_late    -DBREAK_CLEARS_LATE                   finds !((lost         replay differs
random             -DTRIES=3 -DDEATHS=1
*/

#define MASTERS 2
#define NOBODY 2
#ifndef TRIES
#define TRIES 1 /* how often each takes the bus */
#endif
#ifndef DEATHS
#define DEATHS 0
#endif

#define NXIO 6

/* Control register, as a master reads it. */
#define MYBUS 1
#define NMYBUS 2
#define BUSON 4
#define NBUSON 8
#define BUSINIT 16

/* Interrupt status */
#define BUSINIT_DONE 2
#define BUS_OK 4
#define BUS_LOST 8

mtype = { pca9541_take_bus, pca9541_read_ctrl, pca9541_get_intstatus, pca9541_clear_intstatus, smbus_send_byte_to_device,
          smbus_recv_byte_to_device, i2c_master_write_on_bus, i2c_master_read_on_bus, i2c_writeread_on_bus };

/* --- The selector, and the device behind it --- */

bool mybus[MASTERS];
bool buson[MASTERS];
bool businit[MASTERS];
byte status[MASTERS];
byte connected = NOBODY;
byte kept = 255;             /* by the device */

#define other (1 - me)
#define owner (mybus[0] == mybus[1] -> 0 : 1)
#define control ((mybus[me] -> MYBUS : 0) + (mybus[other] != me -> NMYBUS : 0) + \
                 (buson[me] -> BUSON : 0) + (buson[other] -> NBUSON : 0) + (businit[me] -> BUSINIT : 0))
#define mark (16 + me)

/* --- The masters --- */

bool over[MASTERS];
bool lost[MASTERS];          /* the other took the bus away after the interrupt status was cleared */
bool disturbed[MASTERS];     /* the other wrote the control register since the take read it */
bool gave_up[MASTERS];
byte inside;                 /* masters that found the bus to be theirs and are at work */
bool stolen;                 /* a master at work got no acknowledgement */
byte deaths;
byte left_by = NOBODY;       /* killed with the bus */

#define nobody (gave_up[0] && gave_up[1] && connected == NOBODY)
#define inherited (left_by < NOBODY && connected == 1 - left_by)

#define calls(function) printf("p%d calls %e\n", me, function)
#define does(step, result) printf("p%d %e = %d\n", me, step, result)
#define returns(result) printf("p%d returns = %d\n", me, result)

inline check_witness() {
#ifdef WITNESS
    assert(WITNESS)
#else
    skip
#endif
}

inline show_bus() {
    if
    :: connected < NOBODY -> printf("bus of p%d\n", connected)
    :: else -> printf("bus of nobody\n")
    fi
}

#define asked_for (buson[0] != buson[1] -> owner : NOBODY)

/* What the selector does after a transfer of `me`. */
inline connect() {
    if
    :: asked_for != connected ->
       if
       :: connected == other -> status[other] = status[other] | BUS_LOST; lost[other] = true
       :: else
       fi;
       connected = asked_for;
       if
       :: connected < NOBODY -> status[connected] = status[connected] | (businit[connected] -> BUSINIT_DONE : BUS_OK)
       :: else
       fi
    :: else
    fi;
    show_bus()
}

inline clear_status() {
    d_step {
        calls(pca9541_clear_intstatus);
        status[me] = 0;
        lost[me] = false;
        does(i2c_master_write_on_bus, 2);
        returns(0)
    }
}

inline get_status() {
    d_step {
        calls(pca9541_get_intstatus);
        does(i2c_writeread_on_bus, 0);
        returns(status[me]);
        assert(!(lost[me] && (status[me] & BUS_LOST) == 0));
        status[me] = 0
    }
}

#ifdef BREAK_OWN_BIT
#define wanted_mybus ((seen & MYBUS) != 0)
#else
#define wanted_mybus ((seen & NMYBUS) != 0)
#endif
#ifdef BREAK_ALWAYS_ON
#define wanted_buson true
#else
#define wanted_buson ((seen & NBUSON) == 0)
#endif

inline write_control() {
    mybus[me] = wanted_mybus;
    buson[me] = wanted_buson;
    businit[me] = true;
    disturbed[other] = true;
    does(i2c_master_write_on_bus, 2);
    connect()
}

inline end_take() {
    returns(0);
    assert(disturbed[me] || connected == me)
}

inline take() {
#ifdef BREAK_WITHOUT_READ
    d_step { calls(pca9541_take_bus); write_control(); end_take() };
#else
    d_step { calls(pca9541_take_bus); seen = control; disturbed[me] = false; does(i2c_writeread_on_bus, 0) };
#ifdef BREAK_CLEARS_LATE
    d_step { write_control() };
    d_step { status[me] = 0; does(i2c_master_write_on_bus, 2); end_take() };
#else
    d_step { write_control(); end_take() };
#endif
#endif
}

#define is_on (((seen & BUSON) != 0) != ((seen & NBUSON) != 0))
#ifdef BREAK_MYBUS_ONLY
#define is_mine (((seen & MYBUS) != 0) == ((seen & NMYBUS) != 0))
#else
#define is_mine (((seen & MYBUS) != 0) == ((seen & NMYBUS) != 0) && is_on)
#endif

inline read_control() {
    calls(pca9541_read_ctrl);
    seen = control;
    mine = is_mine;
    does(i2c_writeread_on_bus, 0);
    returns(seen);
    assert(mine == (connected == me))
}

inline enter() {
    if
    :: mine ->
       inside++;
       check_witness();
#ifdef POLITE
       assert(inside == 1)
#endif
    :: else
    fi
}

inline get_bus() {
    do
    :: tries < TRIES && !mine ->
       tries++;
#ifdef POLITE
       d_step { read_control() };
       if
       :: is_on
       :: !is_on -> take(); d_step { read_control(); enter() }
       fi
#else
       take();
       d_step { read_control(); enter() }
#endif
    :: else -> break
    od
}

inline refused(step) {
    stolen = true;
    does(step, -NXIO);
    check_witness()
}

inline send_mark() {
    if
    :: d_step { connected == me ->
                calls(smbus_send_byte_to_device);
                kept = mark;
                does(i2c_master_write_on_bus, 1);
                returns(0) }
    :: d_step { connected != me ->
                calls(smbus_send_byte_to_device);
                refused(i2c_master_write_on_bus);
                returns(-1);
                mine = false }
    fi
}

inline take_mark() {
    does(i2c_master_read_on_bus, 1);
    answer = kept;
    returns(answer);
    assert(answer == mark)
}

inline receive_mark() {
    if
    :: d_step { connected == me -> calls(smbus_recv_byte_to_device); take_mark() }
#ifndef BREAK_TAKES_BACK
    :: d_step { connected != me -> calls(smbus_recv_byte_to_device); refused(i2c_master_read_on_bus); returns(-1) }
#else
    :: d_step { connected != me -> calls(smbus_recv_byte_to_device); refused(i2c_master_read_on_bus) };
       d_step { seen = control; disturbed[me] = false; does(i2c_writeread_on_bus, 0) };
       d_step { write_control() };
       if
       :: d_step { connected == me -> take_mark() }
       :: connected != me
       fi
#endif
    fi
}

inline work() {
    send_mark();
    if
    :: mine ->
#ifdef TAKES_AGAIN
       take();
#endif
       receive_mark()
    :: else
    fi;
    inside--
}

proctype master(byte me) {
    byte tries, seen, answer;
    bool mine;
    {
        clear_status();
        get_bus();
        if
        :: mine -> work()
        :: else -> d_step { gave_up[me] = true; check_witness() }
        fi;
        get_status();
        over[me] = true
    } unless { over[me] }
}

inline kill(victim) {
    d_step {
        deaths++;
        over[victim] = true;
        left_by = (connected == victim -> victim : left_by);
        printf("p%d dies\n", victim);
        show_bus()
    }
}

active proctype killer() {
end:
    do
    :: atomic { deaths < DEATHS && !over[0] -> kill(0) }
    :: atomic { deaths < DEATHS && !over[1] -> kill(1) }
    od
}

init {
    byte me, seen;
    atomic {
#ifdef ANY_STATE
        for (me : 0 .. MASTERS - 1) {
            select(seen : 0 .. 3);
            mybus[me] = seen & 1;
            buson[me] = seen >> 1
        }
        connected = asked_for;
#endif
        for (me : 0 .. MASTERS - 1) {
            run master(me)
        }
    }
}
