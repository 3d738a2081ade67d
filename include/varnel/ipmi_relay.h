/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_IPMI_RELAY_H
#define VARNEL_IPMI_RELAY_H

/**
 * @file
 * Raw commands between the system management controller (SMC) and the BMCs, over IPMI 2.0 LAN sessions.
 *
 * A relay is one call: smc_send_command_to_bmc() and bmc_send_command_to_smc() look up the other controller's
 * login, open a session to its port 623, send one command and close the session. A daemon that sends many
 * commands opens a session itself (lan_create_session()) and passes it to the platform's IPMI library.
 *
 * @par Controllers
 * A controller's number, `dev_id`, is 0 for the SMC and n + 1 for the BMC in slot n.
 *
 * @par Results
 * 0, or -1; nothing is printed.
 *
 * @oddity{-1 gives no reason} The status of the platform's IPMI library is not passed on (its low 16 bits
 * count; 0 is success). No address, no session and a refused command all give -1. See the log of the
 * platform's library.
 *
 * @oddity{-1 does not mean that nothing was done} When the answer to a command is lost, the controller has carried
 * it out, and the result is -1. Ask the controller before you repeat a command that must not be repeated.
 *
 * @oddity{A killed process leaves its session open} Only a call that returns closes its session. The controller ends
 * the session of a killed process after its own time-out (60 s, IPMI 2.0 section 6.12.15). Until then it counts among
 * the controller's sessions, which are few: when killed processes have all of them, every call gives -1. Try again
 * after a minute.
 *
 * @par Threads
 * No state: each call keeps its session and its login on its own stack. Calls may run in parallel as far as
 * the platform's functions allow.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The login of a controller. The lengths of user name and password are those of IPMI 2.0 (sections 22.28,
 * 22.30).
 *
 * @oddity{Full names are not terminated} A user name of 16 characters and a password of 20 fill their fields
 * and have no NUL. Print them with `%.16s` and `%.20s`; strcpy() would read past the field.
 */
typedef struct bmc_session_info {
    char ip[20];        /**< IPv4 address as dotted text; "0.0.0.0" means no address */
    char user_name[16]; /**< padded with zeros; see above */
    char password[20];  /**< padded with zeros; see above */
} bmc_session_info;

/**
 * Looks up the login of a controller: the address with get_device_ip(), user name and password in the record
 * of smc_get_shared_memory() (platform.h).
 *
 * @oddity{Absent controllers have a login} Neither the number nor the login is checked: the result is 0 also
 * for a controller that is not there. Check the address: it is "0.0.0.0" then.
 *
 * @param dev_id    the controller.
 * @param pSession  receives the login; null ends the process through an assertion.
 * @return always 0.
 */
int get_bmc_session_info(int32_t dev_id, bmc_session_info *pSession);

/**
 * Opens an IPMI 2.0 session to port 623 of a controller, with Administrator privilege and a time-out argument
 * of 5. The controller ends a session in which no command is sent for its time-out (see above); commands then
 * fail, and only another session helps.
 *
 * @param info         the login; not null, which is not checked: the process ends by SIGSEGV.
 * @param IPMISession  storage for the platform's session object, zeroed; null ends the process through an
 *                     assertion. The relays below give it 32 bytes.
 * @return 0, or -1 when the address is "0.0.0.0" (the platform is not called) or the session was not opened.
 */
int lan_create_session(bmc_session_info *info, void *IPMISession);

/**
 * As lan_create_session(), with 4 instead of 1 as the tenth argument of the platform's call.
 *
 * @param info         as for lan_create_session().
 * @param IPMISession  as for lan_create_session().
 * @return 0, or -1.
 */
int lan_create_session_over_udp(bmc_session_info *info, void *IPMISession);

/**
 * Closes a session.
 *
 * @param session  what lan_create_session() or lan_create_session_over_udp() filled.
 * @return 0, or -1 when the platform reported a failure.
 */
int lan_close_session(void *session);

/**
 * Sends one raw command from the SMC to the BMC in a slot: network function 0x38, LUN 0, time-out argument
 * 10. The session is closed also when the command failed.
 *
 * @param slot     slot of the BMC.
 * @param cmd      command byte.
 * @param req      request data; passed to the platform unchanged, like the next three.
 * @param req_len  bytes in @p req.
 * @param res      receives the response.
 * @param res_len  the response's length, as the platform's LIBIPMI_Send_RAW_IPMI2_0_Command() defines it.
 * @return 0, or -1 when there is no address, no session was opened, or the command failed.
 */
int smc_send_command_to_bmc(uint8_t slot, uint8_t cmd, uint8_t *req, uint32_t req_len, uint8_t *res,
                            uint32_t *res_len);

/**
 * As smc_send_command_to_bmc(), from a BMC to the SMC.
 *
 * @param cmd      command byte.
 * @param req      these four as for smc_send_command_to_bmc().
 * @param req_len  see there.
 * @param res      see there.
 * @param res_len  see there.
 * @return 0, or -1.
 */
int bmc_send_command_to_smc(uint8_t cmd, uint8_t *req, uint32_t req_len, uint8_t *res, uint32_t *res_len);

/** Bytes that get_device_name() may store. */
enum device_name_limit { DEVICE_NAME_SIZE = 30 };

/**
 * Copies a field from a text file: what follows the nth @p start character, up to the next @p end character.
 *
 * get_device_name("/etc/slots", '<', '>', name, 2) finds "fan" in "<cpu> <fan>".
 *
 * - A field ends after 29 characters, and at a NUL in it.
 * - A missing field gives the empty string: too few @p start characters, @p nth below 1, or a file that opens
 *   but cannot be read.
 *
 * @oddity{The end of the file fills the field} The end of the file does not end a field: the field is filled
 * with bytes 0xFF up to 29 characters, unless @p end is (char)0xFF, which ends it there. Keep files
 * well-formed.
 *
 * @param path   the file.
 * @param start  character in front of the field, compared as a byte.
 * @param end    character after it, compared as a byte; may be the same.
 * @param dst    receives the field and a NUL; room for DEVICE_NAME_SIZE bytes.
 * @param nth    which occurrence of @p start, counted from 1.
 * @return 0, or -1 when the file cannot be opened (@p dst is untouched).
 */
int get_device_name(const char *path, char start, char end, char *dst, int32_t nth);

#ifdef __cplusplus
}
#endif

#endif
