/* SPDX-License-Identifier: Apache-2.0

Locks between processes (varnel/sem_lock.h), whose holders may be killed.

Calls: get_sem_lock, wait_sem_lock, try_sem_lock, release_sem_lock

Modelled: processes that find the lock by its key file and take and release it some times, one system call a step; what
semop(2) says of the kernel: operations of one call are one step, a waiter continues when its operations can be performed,
the end of a process adds what SEM_UNDO noted, but not below 0. A process may be killed before each step and while it
waits, and a signal handler may end a wait. Runs are finite, so a state in which nothing can happen although a process
still waits is one in which it waits for ever: spin reports it as an invalid end state.

LINUX: a waiter that can continue does so before anything else happens, in the order in which they came, as in Linux.
These are the runs that can be replayed. Without it any waiter, or a process that came later, may be next.

Left out: several locks of a set, threads, a set that is removed, permissions, failures of open() and semget().

sources: src/ipc/sem_lock.cpp

run any_kernel      -DDEATHS=2 -DSIGNALS=1                finds nothing
run released_twice  -DLINUX -DRELEASES_TWICE              finds (holders==1)       replay agrees
run nobody_holds    -DLINUX -DRELEASES_TWICE              finds invalid end state  replay agrees
run key_file_moved  -DLINUX -DKEY_FILE_MOVED              finds (holders==1)       replay agrees
run holders_killed  -DLINUX -DWITNESS=!served -DDEATHS=2  finds !((holders_killed  replay agrees
run interrupted     -DLINUX -DWITNESS=!resumed -DSIGNALS=1 finds !((interrupted    replay agrees
run without_undo    -DLINUX -DBREAK_LOCK_WITHOUT_UNDO -DDEATHS=1 finds invalid end state  replay differs
run undo_once       -DLINUX -DBREAK_RELEASE_WITHOUT_UNDO  finds (holders==1)       replay differs
run two_calls       -DLINUX -DBREAK_TWO_CALLS             finds (holders==1)       replay differs
long linux          -DLINUX -DDEATHS=2 -DSIGNALS=1        finds nothing
long twice          -DROUNDS=2 -DDEATHS=2 -DSIGNALS=1     finds nothing
random              -DLINUX -DROUNDS=2 -DDEATHS=2 -DSIGNALS=1
*/

#define USERS 3
#ifndef ROUNDS
#define ROUNDS 1 /* how often each takes the lock */
#endif
#ifndef DEATHS
#define DEATHS 0
#endif
#ifndef SIGNALS
#define SIGNALS 0
#endif
#define SETS 2 /* each inode that the key file had has one */

#define NOENT 2
#define INTR 4
#define AGAIN 11

mtype = { get_sem_lock, wait_sem_lock, try_sem_lock, release_sem_lock, open, close, ftok, semget, semop };

/* --- The kernel --- */

byte key_file = 1;           /* inode; 0: there is no such file */
byte inodes = 1;
byte value[SETS];            /* of the semaphore: 0 free, 1 held */
chan for_zero[SETS] = [USERS] of { byte }; /* waits until the value is 0 */
chan for_more[SETS] = [USERS] of { byte }; /* waits until it is more */

/* --- The processes --- */

byte set[USERS];
bool found[USERS];           /* has called get_sem_lock() */
short undo[USERS];
bool over[USERS];
bool inside[USERS];          /* between taking and releasing */
byte holders;
byte deaths;
byte signals;
byte holders_killed;
bool interrupted;

#ifdef LINUX
#define can_continue(s) ((value[s] == 0 && len(for_zero[s]) > 0) || (value[s] > 0 && len(for_more[s]) > 0))
#define idle (!can_continue(0) && !can_continue(1))
#define is_next(list) list?[eval(me)]
#else
#define idle true
#define is_next(list) list??[eval(me)]
#endif

#define served (holders_killed == 2)
#define resumed (interrupted && holders == 1)

#define calls(function) printf("p%d calls %e\n", me, function)
#define does(step, result) printf("p%d %e = %d\n", me, step, result)
#define returns(result) printf("p%d returns = %d\n", me, result)

#ifdef BREAK_LOCK_WITHOUT_UNDO
#define taken_undo 0
#else
#define taken_undo -1
#endif
#ifdef BREAK_RELEASE_WITHOUT_UNDO
#define released_undo 0
#else
#define released_undo 1
#endif

inline show_value(who) {
    if
    :: idle && found[who] -> printf("value p%d = %d\n", who, value[set[who]])
    :: else
    fi
}

inline enter() {
    undo[me] = undo[me] + taken_undo;
    value[set[me]]++;
    inside[me] = true;
    holders++;
    does(semop, 0);
    show_value(me);
    returns(0);
#ifdef WITNESS
    assert(WITNESS);
#endif
    assert(holders == 1)
}

inline fail(step, error) {
    result = -error;
    does(step, -error);
    returns(-error)
}

#define free (value[set[me]] == 0)

/* lock() with flags 0 */
inline wait_for_lock() {
    if
#ifdef BREAK_TWO_CALLS
    :: d_step { idle && free -> calls(wait_sem_lock); does(semop, 0) };
       d_step { idle -> enter() }
#else
    :: d_step { idle && free -> calls(wait_sem_lock); enter() }
#endif
    :: d_step { idle && !free -> calls(wait_sem_lock); for_zero[set[me]]!me; printf("p%d %e waits\n", me, semop) };
       if
       :: d_step { free && is_next(for_zero[set[me]]) -> for_zero[set[me]]??eval(me); enter() }
       :: d_step { idle && signals < SIGNALS ->
                   signals++;
                   interrupted = true;
                   for_zero[set[me]]??eval(me);
                   printf("p%d signal\n", me);
                   fail(semop, INTR) }
       fi
    fi
}

/* lock() with IPC_NOWAIT */
inline try_lock() {
    if
    :: d_step { idle && free -> calls(try_sem_lock); enter() }
    :: d_step { idle && !free -> calls(try_sem_lock); fail(semop, AGAIN) }
    fi
}

inline leave() {
    value[set[me]]--;
    undo[me] = undo[me] + released_undo;
    does(semop, 0);
    show_value(me);
    returns(0)
}

inline begin_release() {
    calls(release_sem_lock);
    holders = holders - inside[me];
    inside[me] = false
}

inline release() {
    if
    :: d_step { idle && !free -> begin_release(); leave() }
    :: d_step { idle && free -> begin_release(); for_more[set[me]]!me; printf("p%d %e waits\n", me, semop) };
       d_step { !free && is_next(for_more[set[me]]) -> for_more[set[me]]??eval(me); leave() }
    fi
}

/* Finding the set is one step unless the key file may change meanwhile. */
#ifdef KEY_FILE_MOVED
#define together
#else
#define together atomic
#endif

inline find() {
    together {
        d_step {
            idle ->
            calls(get_sem_lock);
            if
            :: key_file == 0 -> inodes++; key_file = inodes
            :: else
            fi;
            does(open, 0)
        };
        d_step { idle -> does(close, 0) };
        d_step {
            idle ->
            key = key_file;
            if
            :: key == 0 -> fail(ftok, NOENT)
            :: else -> does(ftok, 0)
            fi
        };
        if
        :: d_step { idle && result == 0 -> set[me] = key - 1; found[me] = true; does(semget, 0); returns(0) }
        :: result != 0
        fi
    }
}

/* What the kernel does when a process ends. */
inline end_process(who) {
    if
    :: for_zero[set[who]]??[eval(who)] -> for_zero[set[who]]??eval(who)
    :: for_more[set[who]]??[eval(who)] -> for_more[set[who]]??eval(who)
    :: else
    fi;
    value[set[who]] = (value[set[who]] + undo[who] < 0 -> 0 : value[set[who]] + undo[who]);
    undo[who] = 0;
    holders = holders - inside[who];
    inside[who] = false;
    over[who] = true;
    show_value(who)
}

proctype user(byte me) {
    byte rounds;
    byte key;
    short result;
    {
        find();
        do
        :: result == 0 && rounds < ROUNDS ->
           rounds++;
           if
           :: wait_for_lock()
#ifndef ONLY_WAITS
           :: try_lock()
#endif
           fi;
           if
           :: result == 0 -> release()
#ifdef RELEASES_TWICE
           :: result == 0 && me == 0 -> release(); release()
#endif
           :: result != 0 -> result = 0 /* does without the lock this time */
           fi
        :: else -> break
        od;
        atomic { idle -> printf("p%d exits\n", me); end_process(me) }
    } unless { over[me] }
}

#define may_kill(victim) (idle && deaths < DEATHS && !over[victim])

inline kill(victim) {
    d_step {
        deaths++;
        holders_killed = holders_killed + inside[victim];
        printf("p%d dies\n", victim);
        end_process(victim)
    }
}

active proctype killer() {
end:
    do
    :: atomic { may_kill(0) -> kill(0) }
    :: atomic { may_kill(1) -> kill(1) }
    :: atomic { may_kill(2) -> kill(2) }
    od
}

#ifdef KEY_FILE_MOVED
active proctype operator() {
end:
    d_step { idle && key_file != 0 -> key_file = 0; printf("operator moves the key file\n") }
}
#endif

init {
    byte i;
    atomic {
        for (i : 0 .. USERS - 1) {
            run user(i)
        }
    }
}
