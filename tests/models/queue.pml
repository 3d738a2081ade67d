/* SPDX-License-Identifier: Apache-2.0

A queue on a named pipe (varnel/message.h) with the file lock of libvarnel_platform.

Calls: post_message, post_message_to_named_queue, post_message_non_block, get_message, file_lock_write, file_unlock

Modelled: processes 0 (two threads, p0 and p1) and 1 (p2) post a record each, p3 receives them; a step is one system call,
or some of which only one matters to the others. All posters share one descriptor, as after fork(). The lock has its three
parts: the table of a process's threads, the record lock on all bytes but the first, the lock of an open file description on
the first byte. Closing any descriptor of the pipe ends the record locks of the process, which post_message_to_named_queue()
does. The pipe has room for two units of PIPE_BUF bytes; a small record is one unit, a large one three. pipe(7): up to
PIPE_BUF bytes are written at once, more in parts. A process may be killed before each step and while it waits. Runs are
finite, so a state in which nothing can happen although a process still waits is one in which it waits for ever: spin
reports it as an invalid end state. Only the reader may wait for ever, for the beginning of a record.

READER_DIES: when the reader may be killed: between two calls or while it waits for a record, within one, after all of it was
read and before the call returns. p4 then begins to receive.

LINUX: what can continue does so before anything else happens, and a read or write moves as much as it can, as in Linux.
These are the runs that can be replayed. Without it the parts of a large record are written and read in any sizes.

Left out: signals, a pipe without a reader (SIGPIPE), time-outs, several files, failing locks.

sources: src/ipc/message.cpp platform/linux/file_lock.cpp

run small_any_kernel   -DKINDS=3 -DKILLS=1                                     finds nothing
long small             -DLINUX -DKINDS=3 -DKILLS=1                             finds nothing
run large_any_kernel   -DKINDS=2 -DLARGE                                       finds nothing
long large             -DLINUX -DKINDS=2 -DLARGE                               finds nothing
run no_descriptors     -DLINUX -DKINDS=1 -DLARGE -DNO_DESCRIPTORS              finds nothing
run killed_writer      -DLINUX -DKINDS=1 -DLARGE -DKILLS=1                     finds !(mixed)               replay agrees
run killed_last        -DLINUX -DKINDS=1 -DLARGE -DKILLS=1                     finds invalid end state      replay agrees
run not_blocking       -DLINUX -DKINDS=3 -DLARGE                               finds !(mixed)               replay agrees
run closed_elsewhere   -DLINUX -DKINDS=2 -DLARGE -DNO_DESCRIPTORS              finds (((writing            replay agrees
run flag_of_the_killed -DLINUX -DKINDS=3 -DKILLS=1 -DWITNESS=!refused          finds !(refused             replay agrees
run thread_and_process -DLINUX -DKINDS=2 -DWITNESS=!served                     finds !((contended          replay agrees
run reader_between     -DLINUX -DKINDS=1 -DREADER_DIES=between                 finds nothing
long between_large     -DLINUX -DKINDS=1 -DLARGE -DREADER_DIES=between         finds nothing
run reader_within      -DLINUX -DKINDS=1 -DREADER_DIES=within                  finds !(mixed)               replay agrees
run reader_after       -DLINUX -DKINDS=1 -DREADER_DIES=after                   finds (((unread              replay agrees
run without_lock       -DLINUX -DKINDS=1 -DLARGE -DBREAK_NO_LOCK               finds (((writing           replay differs
run only_record_lock   -DLINUX -DKINDS=2 -DLARGE -DBREAK_ONLY_RECORD_LOCK      finds (((writing           replay differs
run no_table           -DLINUX -DKINDS=1 -DLARGE -DNO_DESCRIPTORS -DBREAK_NO_TABLE finds (((writing       replay differs
run reads_ahead        -DLINUX -DKINDS=1 -DBREAK_READS_AHEAD                   finds (((unread              replay differs
random                 -DLINUX -DKINDS=3 -DKILLS=1
random                 -DLINUX -DKINDS=2 -DLARGE
random                 -DLINUX -DKINDS=2 -DREADER_DIES=between
*/

#define PROCESSES 2
#define POSTERS 3
#define ACTORS 5
#define READER 3
#define NEXT_READER 4        /* begins when the reader was killed */
#ifndef KILLS
#define KILLS 0
#endif
#define CAPACITY 2 /* units */
#define UNIT 4096
#define HEADER 44

#define AGAIN 11
#define MFILE 24
#define FAILED 1000 /* with any error */

/* When the reader is killed */
#define between (!in_record)
#define within (in_record && !read_all)
#define after read_all

#define process_of(actor) ((actor) / 2)

mtype = { post_message, post_message_to_named_queue, post_message_non_block, get_message, file_lock_write, file_unlock,
          F_SETLKW, F_SETLK, F_OFD_SETLK, F_OFD_SETLKW, F_GETFL, F_SETFL, open, close, read, write };

/* --- The kernel, and the table of threads --- */

chan pipe = [CAPACITY] of { byte, byte, byte }; /* a unit: its record, its number in the record, units of the record */
bool nonblocking;             /* the descriptor that all share */
byte table[PROCESSES];        /* 0, or 1 + the thread that has the file */
byte rest;                    /* record lock on all bytes but the first: 0, or 1 + process */
byte first;                   /* record lock on the first byte: the same */
byte opened;                  /* lock of an open file description on the first byte: 0, or 1 + poster */
bool out_of_descriptors;      /* process 0 */
byte to_open;                 /* its posts by name that have not begun */

#define room (CAPACITY - len(pipe))
#define free_for(lock, process) (lock == 0 || lock == 1 + process)
#define rest_free(process) free_for(rest, process)
#define whole_free(process) (rest_free(process) && free_for(first, process) && opened == 0)
#define first_free (first == 0 && opened == 0)

/* --- The processes --- */

#define NOTHING 0
#define FOR_TABLE 1
#define FOR_REST 2
#define FOR_WHOLE 3
#define FOR_FIRST 4
#define FOR_ROOM 5
#define FOR_DATA 6

byte waits[ACTORS];
bool over[PROCESSES];
bool reader_over;
bool has_header;              /* the reader: of a record whose first unit is in the pipe */
bool in_record;               /* the reader: get_message() has begun to read */
bool read_all;                /* the reader: get_message() has read all of the record and has not returned it */
byte kills;
bool writing[POSTERS];        /* inside write() */
byte unread[POSTERS];         /* records written as a whole and not received */
byte posted;                  /* posts that returned 0 */
bool refused;                 /* a post that waits got EAGAIN */
bool contended;               /* a thread and another process waited at the same time */

#define writers (writing[0] + writing[1] + writing[2])
#define served (contended && posted == 3)

#define can_go(actor) ( \
    (waits[actor] == FOR_TABLE && table[process_of(actor)] == 0) || \
    (waits[actor] == FOR_REST && rest_free(process_of(actor))) || \
    (waits[actor] == FOR_WHOLE && whole_free(process_of(actor))) || \
    (waits[actor] == FOR_FIRST && first_free) || \
    (waits[actor] == FOR_ROOM && room > 0) || \
    (waits[actor] == FOR_DATA && len(pipe) > 0))

#ifdef LINUX
#define idle (!can_go(0) && !can_go(1) && !can_go(2) && !can_go(3) && !can_go(4))
#else
#define idle true
#endif

#define does(step, result) printf("p%d %e = %d\n", me, step, result)
#define begins(step) printf("p%d %e begins\n", me, step)
#define ends(step) printf("p%d %e ends = 0\n", me, step)

inline check_witness() {
#ifdef WITNESS
    assert(WITNESS)
#else
    skip
#endif
}

inline wait(for_what, step) {
    waits[me] = for_what;
    contended = (contended || (waits[1] == FOR_TABLE && waits[2] == FOR_REST && opened == 1));
    printf("p%d %e waits\n", me, step)
}

/* wait_for_record_lock() of all bytes but the first, and of all bytes */
inline lock_rest() {
    if
    :: d_step { idle && rest_free(process_of(me)) -> rest = 1 + process_of(me); does(F_SETLKW, 0) }
    :: d_step { idle && !rest_free(process_of(me)) -> wait(FOR_REST, F_SETLKW) };
       d_step { rest_free(process_of(me)) -> waits[me] = NOTHING; rest = 1 + process_of(me); does(F_SETLKW, 0) }
    fi
}

inline take_whole() {
    rest = 1 + process_of(me);
    first = rest;
    does(F_SETLKW, 0);
    ends(file_lock_write)
}

inline lock_whole() {
    if
    :: d_step { idle && whole_free(process_of(me)) -> take_whole() }
    :: d_step { idle && !whole_free(process_of(me)) -> wait(FOR_WHOLE, F_SETLKW) };
       d_step { whole_free(process_of(me)) -> waits[me] = NOTHING; take_whole() }
    fi
}

inline take_first_byte(step) {
    has_opened = true;
    opened = 1 + me;
    does(step, 0);
    ends(file_lock_write)
}

inline wait_for_first_byte() {
    if
    :: d_step { idle && first_free -> does(open, 0); take_first_byte(F_OFD_SETLK) }
    :: d_step { idle && !first_free -> does(open, 0); does(F_OFD_SETLK, -AGAIN) };
       if
       :: d_step { idle && first_free -> does(F_SETLK, 0); take_first_byte(F_OFD_SETLKW) }
       :: d_step { idle && !first_free -> does(F_SETLK, 0); wait(FOR_FIRST, F_OFD_SETLKW) };
          d_step { first_free -> waits[me] = NOTHING; take_first_byte(F_OFD_SETLKW) }
       fi
    fi
}

#ifdef BREAK_ONLY_RECORD_LOCK
#define opens_again (false)
#else
#define opens_again (!out_of_descriptors || process_of(me) != 0)
#endif

inline lock_first_byte() {
    if
    :: opens_again -> wait_for_first_byte()
    :: d_step { idle && !opens_again -> has_opened = false; does(open, -MFILE) };
       lock_whole()
    fi
}

inline take_table() {
    table[process_of(me)] = 1 + me
}

inline end_record_locks(process) {
    rest = (rest == 1 + process -> 0 : rest);
    first = (first == 1 + process -> 0 : first)
}

inline give_back() {
    table[process_of(me)] = (table[process_of(me)] == 1 + me -> 0 : table[process_of(me)]);
    ends(file_unlock)
}

/* LINUX: unlocking is one step. Otherwise a record lock ends before the other lock, and that before the table's. */
inline unlock_file() {
    d_step {
        idle ->
        if
        :: asked_not_to_wait -> nonblocking = were_nonblocking; does(F_SETFL, 0)
        :: else
        fi;
        begins(file_unlock);
        end_record_locks(process_of(me));
#ifdef LINUX
        opened = (opened == 1 + me -> 0 : opened);
        if
        :: has_opened -> does(close, 0)
        :: else -> does(F_SETLK, 0)
        fi;
        give_back()
#endif
    };
#ifndef LINUX
    d_step { opened = (opened == 1 + me -> 0 : opened) };
    d_step { true -> give_back() };
#endif
}

inline put_unit() {
    pipe!me, size - left, size;
    left--
}

inline put_part() {
    put_unit();
#ifdef LINUX
    do
    :: left > 0 && room > 0 -> put_unit()
    :: else -> break
    od
#endif
}

/* write(), or write_without_waiting() from its beginning */
inline begin_write() {
    if
    :: asked_not_to_wait -> were_nonblocking = nonblocking; nonblocking = true; does(F_GETFL, 0); does(F_SETFL, 0)
    :: else
    fi;
    left = size;
    writing[me] = true;
    assert(writers == 1)
}

inline end_write(result) {
    writing[me] = false;
    unread[me] = unread[me] + (left == 0);
    does(write, result)
}

#define may_wait (by_name || (!nonblocking && !asked_not_to_wait))

inline write_record() {
    if
    :: d_step { idle && room > 0 && (size == 1 || !may_wait) -> begin_write(); put_part(); end_write((size - left) * UNIT) }
    :: d_step { idle && room == 0 && !may_wait ->
                begin_write();
                end_write(-AGAIN);
                refused = (refused || !asked_not_to_wait);
                check_witness() }
    :: d_step { idle && may_wait && room < size ->
                begin_write();
                if
                :: size > 1 && room > 0 -> put_part()
                :: else
                fi;
                wait(FOR_ROOM, write) };
       do
       :: atomic { left > 0 && room > 0 ->
                   put_part();
                   if
                   :: left == 0 -> waits[me] = NOTHING; end_write(size * UNIT)
                   :: else
                   fi }
       :: left == 0 -> break
       od
    fi
}

#define call(function) printf("p%d calls %e:%d\n", me, function, size)

inline begin_post() {
    if
    :: by_name -> call(post_message_to_named_queue); does(open, 0); to_open = to_open - (process_of(me) == 0)
    :: asked_not_to_wait -> call(post_message_non_block)
    :: else -> call(post_message)
    fi
}

inline lock_file() {
    if
#ifdef BREAK_NO_TABLE
    :: d_step { idle -> begin_post(); begins(file_lock_write) }
#else
    :: d_step { idle && table[process_of(me)] == 0 -> take_table(); begin_post(); begins(file_lock_write) }
    :: d_step { idle && table[process_of(me)] != 0 -> begin_post(); wait(FOR_TABLE, file_lock_write) };
       d_step { table[process_of(me)] == 0 -> waits[me] = NOTHING; take_table(); printf("p%d %e reached\n", me, F_SETLKW) }
#endif
    fi;
    lock_rest();
    lock_first_byte()
}

inline write_under_lock() {
#ifdef BREAK_NO_LOCK
    d_step { idle -> begin_post() };
#else
    lock_file();
#endif
    write_record();
#ifndef BREAK_NO_LOCK
    unlock_file()
#endif
}

inline return_from_post() {
    if
    :: by_name -> end_record_locks(process_of(me)); does(close, 0)
    :: else
    fi;
    posted = posted + (left == 0);
    printf("p%d returns = %d\n", me, (left == 0 -> 0 : -FAILED));
    check_witness()
}

proctype poster(byte me; byte size; bool by_name; bool asked_not_to_wait) {
    byte left;                /* units */
    bool has_opened, were_nonblocking;
    {
        write_under_lock();
        atomic { idle -> return_from_post() }
    }
#if KILLS > 0
    unless { over[process_of(me)] }
#endif
}

#define wanted (size - got < len(pipe) -> size - got : len(pipe))

inline read_header() {
    pipe?<record, unit, size>;
    mixed = (unit != 0 || has_header);
    has_header = true;
    in_record = true;
    got = (mixed -> size : 0); /* the replay's payloads are negative lengths, which end the record */
    of_header = HEADER;
    does(read, HEADER)
}

inline take_units() {
    taken = 0;
    do
    :: taken < units ->
       pipe?part, unit, other_size;
       mixed = (mixed || part != record || unit != got);
       got++;
       taken++
    :: else -> break
    od
}

inline read_payload() {
    units = wanted;
#ifndef LINUX
    if
    :: units = 1
    :: skip
    fi;
#endif
    take_units();
#ifdef BREAK_READS_AHEAD
    do
    :: len(pipe) > 0 -> pipe?part, unit, other_size; units++
    :: else -> break
    od;
#endif
    does(read, units * UNIT - of_header);
    of_header = 0;
    has_header = false;
    read_all = (got == size)
}

inline receive() {
    printf("p%d returns = 0\n", me);
    if
    :: mixed -> printf("record mixed\n")
    :: else -> printf("record of p%d\n", record)
    fi;
    assert(!(mixed));
    in_record = false;
    read_all = false;
    unread[record]--
}

#define calls_get_message() printf("p%d calls %e:0\n", me, get_message)

proctype reader(byte me) {
    byte record, unit, part, size, other_size, got, units, taken, of_header;
    bool mixed;
    {
    do
    :: if
       :: atomic { idle && len(pipe) > 0 -> calls_get_message(); read_header() }
       :: atomic { idle && len(pipe) == 0 -> calls_get_message(); wait(FOR_DATA, read) };
end:      atomic { len(pipe) > 0 -> waits[me] = NOTHING; read_header() }
       fi;
       do
       :: atomic { idle && got < size && len(pipe) > 0 -> read_payload() }
       :: atomic { idle && got < size && len(pipe) == 0 -> wait(FOR_DATA, read) };
          atomic { len(pipe) > 0 -> waits[me] = NOTHING; read_payload() }
       :: atomic { idle && got == size -> receive() }; break
       od
    od
    }
#ifdef READER_DIES
    unless { me == READER && reader_over }
#endif
}

/* What the kernel does when a process ends. */
inline end_process(process) {
    end_record_locks(process);
    opened = (opened > 0 && process_of(opened - 1) == process -> 0 : opened);
    for (actor : 0 .. POSTERS - 1) {
        if
        :: process_of(actor) == process -> waits[actor] = NOTHING; writing[actor] = false
        :: else
        fi
    }
    over[process] = true
}

active proctype killer() {
    byte actor;
end:
    do
    :: atomic { idle && kills < KILLS && !over[0] -> kills++; printf("p0 dies\n"); end_process(0) }
    :: atomic { idle && kills < KILLS && !over[1] -> kills++; printf("p2 dies\n"); end_process(1) }
#ifdef READER_DIES
    :: atomic { idle && !reader_over && (READER_DIES) ->
                reader_over = true;
                waits[READER] = NOTHING;
                printf("p%d dies\n", READER);
                run reader(NEXT_READER) }
#endif
    od
}

#ifdef NO_DESCRIPTORS
active proctype operator() {
    atomic { idle && to_open == 0 -> out_of_descriptors = true; printf("descriptors of p0 run out\n") }
}
#endif

/* Nothing can happen any more: no record was lost. */
active proctype end_of_run() {
    timeout -> assert(unread[0] + unread[1] + unread[2] == 0)
}

#ifdef LARGE
#define sizes 1
#else
#define sizes 0
#endif

inline start(who) {
    if
    :: size = 1
    :: sizes == 1 -> size = 3
    fi;
    if
    :: who != 1 || KINDS < 2 -> run poster(who, size, false, false)
    :: who != 1 && KINDS == 3 -> run poster(who, size, false, true)
    :: who == 1 && KINDS >= 2 -> to_open++; run poster(who, size, true, false)
    fi
}

init {
    byte size;
    atomic {
        start(0);
        start(1);
        start(2);
        run reader(READER)
    }
}
