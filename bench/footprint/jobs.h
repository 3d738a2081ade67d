/* SPDX-License-Identifier: Apache-2.0 */
/* What a small daemon does, one job for each family of the library. The same daemon (daemon.c) is linked with
   the jobs done by this library (varnel_jobs.c) and by others. All return 0, or a number asked for; negative
   on failure. */
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
int post_record(const char *path, int speed); /* through a named pipe, to whoever reads there */

/* Need a board: linked, and not called by the benchmark. */
int bring_up_chips(void);
int tell_system_log(int speed);
int fetch_file(const char *path, const char *host);
int relay_command(void);

#ifdef __cplusplus
}
#endif

#endif
