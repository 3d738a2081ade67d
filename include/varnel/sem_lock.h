/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_SEM_LOCK_H
#define VARNEL_SEM_LOCK_H

/**
 * @file
 * Locks between processes that survive the crash of their holder: System V semaphores named by a file.
 *
 * Processes that agree on a path share a set of semaphores; each semaphore of the set is one lock, addressed
 * by its number. A value of 0 is free, 1 is held. A new set starts free, so nobody initialises anything.
 *
 * @code
 * const int locks = get_sem_lock("/var/lock/i2c", 2);
 * if (locks == -1 || wait_sem_lock(locks, 0) != 0)
 *     return -1;                     // errno says why
 * ...                                // the bus is ours
 * release_sem_lock(locks, 0);
 * @endcode
 *
 * @par Crashes
 * A process that dies while it holds a lock, by whatever signal, has it released by the kernel (SEM_UNDO, see
 * semop(2)). What the lock protects may then be half changed: whoever takes it next copes with that.
 *
 * @par Results
 * Nothing is printed. A failure is the -1 of the call below, with its errno.
 *
 * @oddity{Signals end a wait} A wait is not resumed after a signal handler ran: it fails with EINTR. Nothing
 * is wrong then: wait again.
 *
 * @par Lifetime
 * The set and the key file stay until somebody removes them (`ipcrm`, `rm`); the library never does. A set
 * that is removed under its users fails their calls with EIDRM or EINVAL.
 *
 * @oddity{A new key file is another lock} Removing the key file and creating it anew gives the path another
 * inode and with it another set: those who came before and those who come after no longer exclude each other.
 * Keep key files where nothing cleans up.
 *
 * @par Threads
 * No state: any thread may call. A lock belongs to the process, not to the thread: a second thread of the
 * holder waits like everybody else. A child made by fork() does not inherit the holding.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Finds the set of locks of a path, or creates it, all free.
 *
 * The file is created when it is missing (mode 0777 less the umask) and is never written; its inode and
 * device give the key (ftok(3) with '_'). ftok() folds them into 32 bits: two paths can, rarely, share a key.
 *
 * @oddity{Sets are open to all} The set is created with mode 0777, whatever the umask: any user may take and
 * release its locks. Trust no lock against other users.
 *
 * @param path   key file.
 * @param nsems  number of locks in the set, 1 to the system's limit (SEMMSL). A set that exists must have at
 *               least as many; 0 accepts any set that exists.
 * @return set identifier (>= 0), or -1: the file cannot be created or opened for reading and writing, no
 * right to use the set, or it is too small (EINVAL).
 */
int get_sem_lock(const char *path, int32_t nsems);

/**
 * Takes a lock; waits while it is held.
 *
 * @oddity{Lock numbers of 16 bits} Only the low 16 bits of a number count: 65536 is lock 0. Number from 0.
 *
 * @param semid   set identifier.
 * @param semnum  number of the lock. See above for numbers over 65535.
 * @return 0 when the lock is ours, -1 otherwise: no such lock (EFBIG), set removed (EIDRM, EINVAL), a signal
 *         handler ran (EINTR), no right (EACCES).
 */
int wait_sem_lock(int32_t semid, int32_t semnum);

/**
 * Takes a lock if it is free; does not wait.
 *
 * @param semid   set identifier.
 * @param semnum  number of the lock, low 16 bits.
 * @return 0 when the lock is ours, -1 when it is held (EAGAIN) or as for wait_sem_lock().
 */
int try_sem_lock(int32_t semid, int32_t semnum);

/**
 * Gives a lock back.
 *
 * @oddity{Releasing a free lock waits} Nobody checks that the caller holds it. Releasing a lock that is @b
 * free does not fail: the call waits until another process has taken the lock, and then takes it away from
 * that process. Releasing another process's lock frees it only until the releaser ends: then the kernel
 * undoes the release, and the lock is held by nobody. Release once what you took.
 *
 * @param semid   set identifier.
 * @param semnum  number of the lock, low 16 bits.
 * @return 0, or -1 as for wait_sem_lock().
 */
int release_sem_lock(int32_t semid, int32_t semnum);

#ifdef __cplusplus
}
#endif

#endif
