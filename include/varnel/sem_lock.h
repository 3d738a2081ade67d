/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_SEM_LOCK_H
#define VARNEL_SEM_LOCK_H

/**
 * @file
 * Locks between processes, which the kernel releases when their holder dies: System V semaphores named by a
 * file.
 *
 * Processes that use the same path share a set of semaphores; each semaphore of the set is one lock,
 * addressed by its number. A value of 0 is free, 1 is held. All locks of a new set are free: no
 * initialisation is needed.
 *
 * @code
 * const int locks = get_sem_lock("/var/lock/i2c", 2);
 * if (locks == -1 || wait_sem_lock(locks, 0) != 0)
 *     return -1;                     // errno has the reason
 * ...                                // the bus is ours
 * release_sem_lock(locks, 0);
 * @endcode
 *
 * @par Crashes
 * When a process dies while it holds a lock, by any signal, the kernel releases it (SEM_UNDO, see semop(2)).
 * What the lock protects may then be half changed; the next holder must handle that.
 *
 * @par Results
 * Nothing is printed. A failure is the -1 of the call below, with its errno.
 *
 * @oddity{Signals end a wait} A wait is not resumed after a signal handler ran: it fails with EINTR. Wait
 * again.
 *
 * @par Lifetime
 * The set and the key file stay until an operator removes them (`ipcrm`, `rm`); the library never does. Calls
 * for a set that was removed fail with EIDRM or EINVAL.
 *
 * @oddity{A new key file is another lock} Removing the key file and creating it again gives the path another
 * inode and with it another set: processes that opened the old set and those that open the new one do not
 * exclude each other. Keep key files in a folder that is not cleaned up.
 *
 * @par Threads
 * No state: any thread may call. A lock belongs to the process that took it, but it is not recursive: a
 * second thread of the holder waits like any other process. A child after fork() does not hold its parent's
 * locks.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Finds the set of locks of a path, or creates it, all free.
 *
 * The file is created when it is missing (mode 0777 less the umask) and is never written; its inode and
 * device give the key (ftok(3) with '_'). ftok() reduces them to 32 bits: in rare cases two paths share a
 * key.
 *
 * @oddity{Sets are open to all users} The set is created with mode 0777, whatever the umask: any user may
 * take and release its locks. A lock does not protect against other users.
 *
 * @param path   key file.
 * @param nsems  number of locks in the set, 1 to the system's limit (SEMMSL). A set that exists must have at
 *               least as many; 0 accepts any set that exists.
 * @return set identifier (>= 0), or -1: the file cannot be created or opened for reading and writing,
 *         permission to use the set denied (EACCES), or the set is too small (EINVAL).
 */
int get_sem_lock(const char *path, int32_t nsems);

/**
 * Takes a lock; waits while it is held.
 *
 * @oddity{Lock numbers have 16 bits} Only the low 16 bits of a number count: 65536 is lock 0. Number locks
 * from 0.
 *
 * @param semid   set identifier.
 * @param semnum  number of the lock. See above for numbers over 65535.
 * @return 0 when the lock was taken, -1 otherwise: no such lock (EFBIG), set removed (EIDRM, EINVAL), a
 *         signal handler ran (EINTR), permission denied (EACCES).
 */
int wait_sem_lock(int32_t semid, int32_t semnum);

/**
 * Takes a lock if it is free; does not wait.
 *
 * @param semid   set identifier.
 * @param semnum  number of the lock, low 16 bits.
 * @return 0 when the lock was taken, -1 when it is held (EAGAIN) or as for wait_sem_lock().
 */
int try_sem_lock(int32_t semid, int32_t semnum);

/**
 * Releases a lock.
 *
 * @oddity{Releasing a free lock waits} The call does not check that the caller holds the lock. Releasing a
 * lock that is @b free does not fail: the call waits until another process takes the lock, and then releases
 * that process's lock. Releasing another process's lock frees it only until the caller ends: the kernel then
 * undoes the release, and the lock is held without a holder. Release each lock once, and only a lock you
 * took.
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
