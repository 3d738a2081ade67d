/* SPDX-License-Identifier: Apache-2.0

Commands to a controller over IPMI sessions (varnel/ipmi_relay.h), whose senders may be killed.

Calls: smc_send_command_to_bmc, bmc_send_command_to_smc, get_bmc_session_info, lan_create_session,
Calls: lan_create_session_over_udp, lan_close_session

Modelled: p0 and p1 relay commands, p2 keeps a session for two. All go to one controller, which has two sessions left. A step
is one call of the platform's session functions; the look-up of the login belongs to the next one. The controller carries a
command out, refuses it, or carries it out and its answer is lost. A process may be killed before each step and while it waits
for an answer; the controller does not notice that, and ends a session only after a time without commands (EXPIRES; IPMI 2.0
section 6.12.15).

Found in all runs:
- A relay that returns has no session, whatever came of its command. So the sessions in use are those of running calls and
  of killed ones.
- A command is sent in a session, and carried out at most once by each call; after a result of 0, once.
- When the controller ends sessions, a process that waits for one (PATIENT) waits for ever in no run: spin reports a state in
  which nothing can happen although a process still waits as an invalid end state. Others may be quicker each time.

Left out: answers that come late, commands that libvarnel_platform_ipmi sends again (docs/porting.md), logins that fail.

sources: src/session/easy_session.cpp src/session/lan_session_ifc.cpp include/varnel/ipmi_relay.h include/varnel/platform.h

run all            -DLOSSES=1 -DDEATHS=1                            finds nothing
run expires        -DEXPIRES -DPATIENT -DDEATHS=2                   finds nothing
long two_deaths    -DEXPIRES -DLOSSES=1 -DDEATHS=2                  finds nothing
long again         -DLOSSES=1 -DDEATHS=1 -DTRIES=2                  finds nothing
run in_vain        -DLOSSES=1 -DWITNESS=!in_vain                    finds !(in_vain)         replay agrees
run killed_waiting -DLOSSES=1 -DDEATHS=1 -DWITNESS=!killed_waiting  finds !(killed_waiting)  replay agrees
run left_open      -DDEATHS=2 -DWITNESS=!left_open                  finds !(left_open)       replay agrees
run for_ever       -DPATIENT -DDEATHS=2                             finds invalid end state  replay agrees
run idle           -DEXPIRES -DIDLE -DWITNESS=!idle                 finds !(idle)
run keeps_session  -DBREAK_KEEPS_SESSION                            finds !(session[me])     replay differs
run repeats        -DLOSSES=1 -DBREAK_REPEATS                       finds (executed[me]<=    replay differs
run sends_anyway   -DBREAK_SENDS_ANYWAY                             finds session[me]        replay differs
random             -DDEATHS=2 -DTRIES=3
*/

#define SENDERS 3
#define DAEMON 2
#define SESSIONS 2
#ifndef TRIES
#define TRIES 1
#endif
#ifndef LOSSES
#define LOSSES 0
#endif
#ifndef DEATHS
#define DEATHS 0
#endif

/* Kinds of command */
#define ORDINARY 0
#define REFUSED 1
#define LOST 2

mtype = { smc_send_command_to_bmc, bmc_send_command_to_smc, get_bmc_session_info, lan_create_session,
          lan_create_session_over_udp, lan_close_session, LIBIPMI_Create_IPMI20_Session, LIBIPMI_Send_RAW_IPMI2_0_Command,
          LIBIPMI_CloseSession };

/* --- The controller --- */

bool session[SENDERS];
byte executed[SENDERS];      /* commands */

#define used (session[0] + session[1] + session[2])

/* --- The senders --- */

bool over[SENDERS];
bool killed[SENDERS];
bool waits[SENDERS];         /* for an answer that is lost */
byte deaths;
byte losses;
bool in_vain;                /* -1 for a command that was carried out */
bool killed_waiting;         /* a process was killed while it waited; its command was carried out */
bool left_open;              /* no session, because killed processes have them all */
bool idle;                   /* the daemon lost its session between two commands */

#define calls(function) printf("p%d calls %e\n", me, function)
#define does(step, result) printf("p%d %e = %d\n", me, step, result)
#define returns(result) printf("p%d returns = %d\n", me, result)
#define show_executed() printf("executed p%d = %d\n", me, executed[me])
#define show_sessions() printf("sessions = %d\n", SESSIONS - used)

inline check_witness() {
#ifdef WITNESS
    assert(WITNESS)
#else
    skip
#endif
}

inline create() {
    result = (used < SESSIONS -> 0 : -1);
    session[me] = (result == 0);
    does(LIBIPMI_Create_IPMI20_Session, -result);
    left_open = (left_open || (result < 0 && (killed[0] && session[0]) + (killed[1] && session[1]) +
                                              (killed[2] && session[2]) == SESSIONS))
}

/* The command of a session that the controller has ended is not answered, either. */
inline send() {
    if
    :: d_step { kind == ORDINARY && session[me] ->
                executed[me]++;
                result = 0;
                does(LIBIPMI_Send_RAW_IPMI2_0_Command, 0);
                show_executed() }
    :: d_step { kind == REFUSED && session[me] -> result = -1; does(LIBIPMI_Send_RAW_IPMI2_0_Command, 1) }
    :: d_step { kind == LOST && session[me] ->
                executed[me]++;
                waits[me] = true;
                printf("p%d %e waits\n", me, LIBIPMI_Send_RAW_IPMI2_0_Command);
                show_executed() };
       d_step { waits[me] = false; result = -1; does(LIBIPMI_Send_RAW_IPMI2_0_Command, 1) }
    :: d_step { !session[me] ->
                result = -1;
                idle = true;
                does(LIBIPMI_Send_RAW_IPMI2_0_Command, 1);
                check_witness();
                assert(session[me]) }
    fi
}

inline choose_command() {
    if
    :: kind = ORDINARY
#ifndef PATIENT
    :: kind = REFUSED
    :: losses < LOSSES && me != DAEMON -> losses++; kind = LOST
#endif
    fi
}

inline end_relay() {
    returns(result);
    in_vain = (in_vain || (result < 0 && executed[me] > before));
    check_witness();
    assert(!(session[me]));
    assert(executed[me] <= before + 1);
    assert(result < 0 || executed[me] == before + 1)
}

inline begin_relay() {
    before = executed[me];
    if
    :: me == 0 -> printf("p%d calls %e:%d\n", me, smc_send_command_to_bmc, kind)
    :: else -> printf("p%d calls %e:%d\n", me, bmc_send_command_to_smc, kind)
    fi;
    create()
}

inline close_session() {
    session[me] = false;
    does(LIBIPMI_CloseSession, 0);
    show_sessions()
}

inline relay() {
    choose_command();
    d_step { begin_relay() };
    if
#ifdef BREAK_SENDS_ANYWAY
    :: true ->
#else
    :: result == 0 ->
#endif
       send();
#ifdef BREAK_REPEATS
       if
       :: result < 0 -> send()
       :: else
       fi;
#endif
#ifdef BREAK_KEEPS_SESSION
       if
       :: result == 0 -> d_step { close_session(); end_relay() }
       :: else -> d_step { end_relay() }
       fi
#else
       d_step { close_session(); end_relay() }
#endif
    :: result < 0 -> d_step { end_relay() }
    fi
}

inline begin_session() {
    if
    :: calls(lan_create_session)
    :: calls(lan_create_session_over_udp)
    fi;
    create();
    returns(result);
    check_witness()
}

inline send_in_session() {
    choose_command();
    d_step { printf("p%d calls %e:%d\n", me, LIBIPMI_Send_RAW_IPMI2_0_Command, kind) };
    send();
    d_step { returns(result) }
}

inline keep_session() {
    d_step { calls(get_bmc_session_info); returns(0) };
    d_step { begin_session() };
    if
    :: result == 0 ->
       send_in_session();
       send_in_session();
       d_step { calls(lan_close_session); close_session(); returns(0); result = 0 }
    :: else
    fi
}

proctype sender(byte me) {
    byte kind, before, tries;
    short result = -1;
    {
        do
        :: tries < TRIES && result < 0 ->
#ifdef PATIENT
           used < SESSIONS;
#else
           tries++;
#endif
           if
           :: me == DAEMON -> keep_session()
           :: else -> relay()
           fi
        :: else -> break
        od;
        over[me] = true
    } unless { over[me] }
}

inline kill(victim) {
    d_step {
        deaths++;
        over[victim] = true;
        killed[victim] = true;
        killed_waiting = (killed_waiting || waits[victim]);
        printf("p%d dies\n", victim);
        show_sessions();
        check_witness()
    }
}

active proctype killer() {
end:
    do
    :: atomic { deaths < DEATHS && !over[0] -> kill(0) }
    :: atomic { deaths < DEATHS && !over[1] -> kill(1) }
    :: atomic { deaths < DEATHS && !over[2] -> kill(2) }
    od
}

#ifdef EXPIRES
#ifdef IDLE
#define may_expire(who) session[who]
#else
#define may_expire(who) (session[who] && killed[who])
#endif

active proctype clock() {
end:
    do
    :: d_step { may_expire(0) -> session[0] = false }
    :: d_step { may_expire(1) -> session[1] = false }
    :: d_step { may_expire(2) -> session[2] = false }
    od
}
#endif

init {
    atomic {
        run sender(0);
        run sender(1);
        run sender(2)
    }
}
