/* SPDX-License-Identifier: Apache-2.0 */
/* The jobs of a small daemon, one for each family of the library. The same daemon (daemon.c) is linked with
   jobs that use this library (varnel_jobs.c) and with jobs that use others. All return 0 or the requested
   number; negative on failure. */
#ifndef BENCH_FOOTPRINT_JOBS_H
#define BENCH_FOOTPRINT_JOBS_H

#ifdef __cplusplus
extern "C" {
#endif

/* Done on any machine. */
int limit_in_ini(const char *path);           /* key "limit" of section "fan" */
int speed_in_xml(const char *path);           /* attribute "speed" of the element "fan" with id 2 */
int log_speed(const char *path, int speed);   /* to a text log of limited size */
int take_and_release_lock(const char *path);  /* among processes */
int post_record(const char *path, int speed); /* through a named pipe */

/* Need a board: linked, but not called by the benchmark. */
int bring_up_chips(void);
int log_to_system_log(int speed);
int fetch_file(const char *path, const char *host);
int relay_command(void);

#ifdef __cplusplus
}
#endif

#endif
