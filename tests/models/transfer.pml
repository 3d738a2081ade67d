/* SPDX-License-Identifier: Apache-2.0

A file sent to clients over TCP (varnel/lan_transfer.h), any of whose processes may be killed.

Calls: lan_transfer_file, mma_lan_transfer

Modelled: p0 serves a file to COUNT clients, p1 and p2 fetch it. A step is one system call on a socket; those that only
prepare the socket or the file belong to the next one. The file has CHUNKS chunks, a chunk two parts; a send() has moved all
it was given when it returns, but a recv() returns any number of parts. Data for a process that has ended are answered with a
reset, after which send() fails. A process that ends with data unread resets its connection at once, and so does a listener
that closes with those that it has not accepted. A recv() reports a reset once, then the end of the stream. A process may be
killed before each step and while it waits. Runs are finite, so a state in which nothing can happen although a process
still waits is one in which it waits for ever: spin reports it as an invalid end state. Only the server may wait for ever, for
a client to connect.

Found in all runs:
- What a client stores is the beginning of the file, without gaps. A result of 0 from a server that accepted the client and
  was not killed means all of the file.
- Every client that the server accepted is counted once, killed or not. Only a kill ends the server earlier.
- No client waits for ever, whoever is killed.

LINUX: a send is one step, as in Linux while a connection has room. These are the runs that can be replayed: the replay
moves as many bytes as the schedule says. Without it a connection has room for one part, so send() waits.

Left out: failures before connect(), a full disk, the time-outs of TCP.

sources: src/session/lan_transfer.cpp

run any_kernel     -DKILLS=1                                          finds nothing
run linux          -DLINUX -DKILLS=1                                  finds nothing
long two_kills     -DKILLS=2                                          finds nothing
long two_chunks    -DLINUX -DCHUNKS=2 -DKILLS=1                       finds nothing
run early          -DLINUX -DWITNESS=!early                           finds !(early)            replay agrees
run partial        -DLINUX -DCHUNKS=2 -DKILLS=1 -DWITNESS=!partial    finds !(partial)          replay agrees
run one_too_many   -DLINUX -DCOUNT=1 -DWITNESS=!unserved              finds !(unserved)         replay agrees
run counted_killed -DLINUX -DKILLS=1 -DWITNESS=!counted_killed        finds !((accepted_killed  replay agrees
run empty_file     -DLINUX -DCHUNKS=0                                 finds invalid end state   replay agrees
run split_size     -DLINUX -DSPLIT_SIZE                               finds !(mixed)            replay agrees
run signal         -DLINUX -DCHUNKS=2 -DSIGNALS=1                     finds !(mixed)            replay agrees
run stopped        -DSTOPS                                            finds invalid end state
run sigpipe        -DLINUX -DKILLS=1 -DBREAK_SIGPIPE                  finds (count==0)          replay differs
run not_counted    -DLINUX -DKILLS=1 -DBREAK_NOT_COUNTED              finds (((count==0)        replay differs
run first_part     -DLINUX -DBREAK_FIRST_PART                         finds (((got==            replay differs
run until_close    -DLINUX -DBREAK_UNTIL_CLOSE                        finds invalid end state   replay differs
random             -DLINUX -DREADY -DCHUNKS=2 -DKILLS=1
random             -DLINUX -DREADY -DCOUNT=1 -DKILLS=2
*/

#define CLIENTS 2
#define SERVER 0
#ifndef COUNT
#define COUNT 2 /* clients to serve */
#endif
#ifndef CHUNKS
#define CHUNKS 1
#endif
#ifndef KILLS
#define KILLS 0
#endif
#ifndef SIGNALS
#define SIGNALS 0
#endif
#define PART 131072
#define SIZE_FIELD 4
#define PARTS (2 * CHUNKS) /* of the file */
#ifdef LINUX
#define ROOM 5
#else
#define ROOM 1
#endif

#define PIPE 32
#define CONNRESET 104
#define CONNREFUSED 111
#define NO_CONNECTION 5 /* result of mma_lan_transfer() */

mtype = { lan_transfer_file, mma_lan_transfer, listen, accept, send, sleep, close, connect, recv };

/* --- The kernel; everything by client --- */

#define FIRST_HALF 100       /* what is sent: the size, as a whole or its halves, or the number of a part */
#define SECOND_HALF 101
#define WHOLE_SIZE 102

chan stream[3] = [ROOM] of { byte };
chan backlog = [CLIENTS] of { byte };
bool listening;
bool ended[3];               /* the server has closed the connection: the stream has an end */
bool reset_client[3];        /* the client's next recv() fails */
bool reset_server[3];        /* the server's send() fails */
bool gone[3];                /* the client has closed the connection */

/* --- The processes --- */

bool waiting[3];
bool over[3];
bool killed[3];
bool accepted[3];
byte count = COUNT;
byte kills;
byte signals;

bool ready;                  /* g_transfer_server_ok */
bool early;                  /* a client was refused although the server was ready */
bool partial;                  /* 0 for a part of the file */
bool unserved;               /* 0 for nothing, from a server that was not killed */
bool accepted_killed;        /* a client was killed before the server accepted it */

#define counted_killed (accepted_killed && count == 0)

#define can_receive(client) (len(stream[client]) > 0 || reset_client[client] || ended[client])
#ifdef LINUX
#define idle (!(waiting[SERVER] && len(backlog) > 0) && !(waiting[1] && can_receive(1)) && !(waiting[2] && can_receive(2)))
#else
#define idle true
#endif

#define does(who, step, result) printf("p%d %e = %d\n", who, step, result)
#define returns(who, result) printf("p%d returns = %d\n", who, result)

inline check_witness() {
#ifdef WITNESS
    assert(WITNESS)
#else
    skip
#endif
}

inline wait(who, step) {
    waiting[who] = true;
    printf("p%d %e waits\n", who, step)
}

/* --- The server --- */

inline begin_listening() {
    if
    :: count == COUNT -> printf("p%d calls %e:%d:%d\n", SERVER, lan_transfer_file, COUNT, CHUNKS)
    :: else
    fi;
    ready = true
}

inline take_client() {
    waiting[SERVER] = false;
    backlog?client;
    accepted[client] = true;
    accepted_killed = (accepted_killed || killed[client]);
    does(SERVER, accept, 0)
}

inline accept_client() {
    d_step { idle -> begin_listening() };
    d_step { idle -> listening = true; does(SERVER, listen, 0) };
    if
    :: d_step { idle && len(backlog) > 0 -> take_client() }
    :: d_step { idle && len(backlog) == 0 -> wait(SERVER, accept) };
end:   d_step { len(backlog) > 0 -> take_client() }
    fi
}

/* What the kernel does when the listener is closed. */
inline end_listening() {
    listening = false;
    do
    :: len(backlog) > 0 -> backlog?other; reset_client[other] = true; ended[other] = true
    :: else -> break
    od
}

/* The same when the process ends. */
inline end_server() {
    over[SERVER] = true;
    ended[1] = (ended[1] || accepted[1]);
    ended[2] = (ended[2] || accepted[2]);
    end_listening()
}

inline fail_send() {
    failed = true;
#ifdef BREAK_SIGPIPE
    printf("p%d %e waits\n", SERVER, send); /* does not return */
    end_server();
    assert(count == 0)
#else
    does(SERVER, send, -PIPE)
#endif
}

/* The data are answered with a reset. */
inline send_to_nobody(size) {
    reset_server[client] = true;
    does(SERVER, send, size)
}

#define can_send (!reset_server[client] && !gone[client])

inline send_size() {
    if
    :: d_step { idle && reset_server[client] -> does(SERVER, send, -PIPE) }
    :: d_step { idle && !reset_server[client] && gone[client] -> send_to_nobody(SIZE_FIELD) }
    :: d_step { idle && can_send ->
#ifdef SPLIT_SIZE
                stream[client]!FIRST_HALF;
                stream[client]!SECOND_HALF;
#else
                stream[client]!WHOLE_SIZE;
#endif
                does(SERVER, send, SIZE_FIELD) }
    fi
}

/* The parts `part` and `part` + 1. A signal handler ends a send early. */
inline send_chunk() {
    if
    :: d_step { idle && reset_server[client] -> fail_send() }
    :: d_step { idle && !reset_server[client] && gone[client] -> send_to_nobody(2 * PART) }
#ifdef LINUX
    :: d_step { idle && can_send -> stream[client]!part; stream[client]!part + 1; does(SERVER, send, 2 * PART) }
    :: d_step { idle && can_send && signals < SIGNALS -> signals++; stream[client]!part; does(SERVER, send, PART) }
#else
    :: can_send -> send_part(part); send_part(part + 1)
#endif
    fi
}

inline send_part(number) {
    if
    :: d_step { !gone[client] && len(stream[client]) < ROOM -> stream[client]!number }
    :: d_step { gone[client] -> reset_server[client] = true }
    fi
}

inline send_file() {
    failed = false;
    send_size();
    part = 1;
    do
    :: part < PARTS && !failed -> send_chunk(); part = part + 2
    :: else -> break
    od
}

/* Takes no step of its own. */
inline count_client() {
#ifdef BREAK_NOT_COUNTED
    count = count - !failed;
#else
    count--;
#endif
    check_witness()
}

proctype server() {
    byte client, part, other;
    bool failed;
    {
        do
        :: count > 0 ->
           accept_client();
           send_file();
           atomic { count_client() }
        :: else -> break
        od;
        atomic { idle -> does(SERVER, sleep, 0) };
        d_step { idle -> ended[client] = true; does(SERVER, close, 0) };
        d_step { idle -> end_listening(); does(SERVER, close, 0); returns(SERVER, count) }
    } unless { over[SERVER] }
}

/* --- The clients --- */

inline receive_nothing() {
    does(me, recv, (reset_client[me] -> -CONNRESET : 0));
    last = 0;
    reset_client[me] = false
}

#define size_of(item) (item == WHOLE_SIZE -> SIZE_FIELD : (item >= FIRST_HALF -> SIZE_FIELD / 2 : PART))

/* What one recv() takes, in pieces; a reset leaves nothing to be taken. */
inline take(pieces) {
    waiting[me] = false;
    if
    :: len(stream[me]) == 0 -> receive_nothing()
    :: len(stream[me]) > 0 ->
       last = 0;
       left = pieces;
       do
       :: left > 0 && len(stream[me]) > 0 ->
          stream[me]?item;
          last = last + size_of(item);
          mixed = (mixed || (in_file && item != got + 1));
          got = got + in_file;
          left--
       :: else -> break
       od;
       does(me, recv, last)
    fi
}

#ifdef SPLIT_SIZE
#define SIZE_PIECES 2
#else
#define SIZE_PIECES 1
#endif
#define most_after_wait (in_file -> 1 : SIZE_PIECES)

inline receive(most) {
    if
    :: atomic { idle && can_receive(me) -> take(most) }
    :: atomic { idle && can_receive(me) -> take(1) }
    :: atomic { idle && !can_receive(me) -> wait(me, recv) };
       atomic { can_receive(me) -> take(most_after_wait) }
    fi
}

/* Both halves, or the first, which are the low bytes: 0 for whole parts. */
inline receive_size() {
    receive(SIZE_PIECES);
    remaining = (last == SIZE_FIELD -> PARTS * PART : 0);
    in_file = true
}

#ifdef BREAK_UNTIL_CLOSE
#define enough false
#else
#ifdef BREAK_FIRST_PART
#define enough true
#else
#define enough (remaining <= 0)
#endif
#endif

inline receive_file() {
    do
    :: receive(2);
       assert(!(mixed));
       remaining = remaining - last;
       if
       :: last <= 0 || enough -> break
       :: else
       fi
    od
}

inline close_connection(who) {
    gone[who] = true;
    waiting[who] = false;
    reset_server[who] = (reset_server[who] || len(stream[who]) > 0)
}

inline end_client(result) {
    does(me, close, 0);
    returns(me, result);
    over[me] = true
}

inline finish() {
    close_connection(me);
    end_client(0);
    printf("file of p%d: %d parts\n", me, got);
    partial = (partial || (got > 0 && got < PARTS));
    unserved = (unserved || (got == 0 && !accepted[me] && !killed[SERVER]));
    check_witness();
    assert((got == PARTS) || killed[SERVER] || !accepted[me])
}

#ifdef READY
#define may_begin ready
#else
#define may_begin true
#endif

inline begin() {
    if
    :: d_step { idle && listening && may_begin ->
                printf("p%d calls %e\n", me, mma_lan_transfer);
                backlog!me;
                does(me, connect, 0) }
    :: d_step { idle && !listening && may_begin ->
                printf("p%d calls %e\n", me, mma_lan_transfer);
                does(me, connect, -CONNREFUSED);
                end_client(NO_CONNECTION);
                early = (early || (ready && count > 0 && !over[SERVER]));
                check_witness() }
    fi
}

proctype client(byte me) {
    byte item, got, left;
    int last, remaining;
    bool in_file, mixed;
    {
        begin();
        if
#ifdef STOPS
        :: me == 1 ->
end:       false
#endif
        :: !over[me] -> receive_size(); receive_file(); atomic { idle -> finish() }
        :: over[me]
        fi
    } unless { killed[me] }
}

inline kill(victim) {
    d_step {
        kills++;
        killed[victim] = true;
        over[victim] = true;
        printf("p%d dies\n", victim);
        if
        :: victim == SERVER -> end_server()
        :: else -> close_connection(victim)
        fi
    }
}

active proctype killer() {
    byte other;
end:
    do
    :: atomic { idle && kills < KILLS && !over[0] -> kill(0) }
    :: atomic { idle && kills < KILLS && !over[1] -> kill(1) }
    :: atomic { idle && kills < KILLS && !over[2] -> kill(2) }
    od
}

/* Nothing can happen any more: as many clients as were accepted are counted. */
active proctype end_of_run() {
    timeout -> assert(count == 0 || accepted[1] + accepted[2] < COUNT || killed[SERVER])
}

init {
    atomic {
        run server();
        run client(1);
        run client(2)
    }
}
