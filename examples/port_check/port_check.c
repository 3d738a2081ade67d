/* SPDX-License-Identifier: Apache-2.0 */
/* Calls each function that a board must provide (varnel/platform.h) with arguments from the command line and
   prints what it returned. Link it with the board's own libraries to check whether they do what the library
   expects. */
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <varnel/platform.h>

/* A board without relay need not provide these. */
#pragma weak LIBIPMI_Create_IPMI20_Session
#pragma weak LIBIPMI_Send_RAW_IPMI2_0_Command
#pragma weak LIBIPMI_CloseSession

enum { frame_max = 255, exit_usage = 2 };

struct login {
    char ip[20];
    char user_name[16];
    char password[20];
};

/* A number in C notation, from 0 to `most`. */
static unsigned long number(const char *text, unsigned long most) {
    char *end;
    errno = 0;
    const unsigned long value = strtoul(text, &end, 0);
    if (errno != 0 || end == text || *end != '\0' || value > most || *text == '-') {
        fprintf(stderr, "port_check: not a number from 0 to %lu: %s\n", most, text);
        exit(exit_usage);
    }
    return value;
}

/* Bytes up to the end or the word "r"; returns how many. */
static unsigned bytes(char **words, uint8_t *into) {
    unsigned count = 0;
    for (; words[count] != NULL && strcmp(words[count], "r") != 0 && count < frame_max; ++count) {
        into[count] = (uint8_t)number(words[count], 0xFF);
    }
    return count;
}

static void print_bytes(const uint8_t *from, unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
        printf(" %02x", from[i]);
    }
    putchar('\n');
}

static int report(const char *function, int result, int succeeded) {
    const int error = errno;
    printf("%s: %d%s%s\n", function, result, succeeded ? "" : ": ", succeeded ? "" : strerror(error));
    return succeeded ? EXIT_SUCCESS : EXIT_FAILURE;
}

static int check_i2c(char **words) {
    const uint8_t bus = (uint8_t)number(words[0], 0xFF);
    const uint8_t slave = (uint8_t)number(words[1], 0xFF);
    uint8_t written[frame_max];
    uint8_t answer[frame_max] = {0};
    const unsigned write_length = bytes(words + 2, written);
    char **const rest = words + 2 + write_length;
    if (rest[0] == NULL) {
        const int result = i2c_master_write_on_bus(bus, slave, written, (uint16_t)write_length);
        return report("i2c_master_write_on_bus", result, result == (int)write_length);
    }
    const unsigned read_length = rest[1] == NULL ? 0 : (unsigned)number(rest[1], frame_max);
    int status;
    if (write_length == 0) {
        const int result = i2c_master_read_on_bus(bus, slave, answer, (uint16_t)read_length);
        status = report("i2c_master_read_on_bus", result, result == (int)read_length);
    } else {
        const int result =
            i2c_writeread_on_bus(bus, slave, written, answer, (uint16_t)write_length, (uint16_t)read_length);
        status = report("i2c_writeread_on_bus", result, result == 0);
    }
    print_bytes(answer, read_length);
    return status;
}

static int check_lock(char **words) {
    const int fd = open(words[0], O_RDWR);
    if (fd < 0) {
        return report(words[0], fd, 0);
    }
    const int locked = file_lock_write(fd);
    int status = report("file_lock_write", locked, locked == 0);
    fflush(stdout);
    while (getchar() != EOF) {
        /* until the end of standard input */
    }
    const int unlocked = file_unlock(fd);
    status |= report("file_unlock", unlocked, unlocked == 0);
    return status;
}

static int check_debug(char **words) {
    printf("IDBG_LINUXAPP_DbgOut: %d\n", IDBG_LINUXAPP_DbgOut((int)number(words[0], 0xFF), "%s\n", words[1]));
    return EXIT_SUCCESS;
}

/* The library does not look at what these two return. It needs a record in any case, and an address, which
   may be the one that says that there is none. */
static void fetch_login(int controller, struct login *login) {
    const uint8_t *const record = smc_get_shared_memory(controller);
    if (record == NULL) {
        fputs("smc_get_shared_memory: null\n", stderr);
        exit(EXIT_FAILURE);
    }
    memcpy(login->user_name, record + LOGIN_USER_NAME_OFFSET, sizeof login->user_name);
    memcpy(login->password, record + LOGIN_PASSWORD_OFFSET, sizeof login->password);
    memset(login->ip, 0, sizeof login->ip);
    const int result = get_device_ip(controller, login->ip);
    if (login->ip[0] == '\0' || memchr(login->ip, '\0', sizeof login->ip) == NULL) {
        fprintf(stderr, "get_device_ip: %d, and no address written\n", result);
        exit(EXIT_FAILURE);
    }
}

static int check_controller(char **words) {
    struct login login;
    fetch_login((int)number(words[0], 256), &login);
    printf("address %s, user \"%.16s\", password %s\n", login.ip, login.user_name,
           login.password[0] != '\0' ? "set" : "none");
    return EXIT_SUCCESS;
}

static int check_ipmi(char **words) {
    struct login login;
    uint8_t request[frame_max];
    uint8_t response[1024];
    uint32_t length = sizeof response;
    uint64_t session[4] = {0};
    uint8_t privilege = 4;
    if (LIBIPMI_Create_IPMI20_Session == NULL) {
        fputs("port_check: linked without IPMI functions\n", stderr);
        return EXIT_FAILURE;
    }
    fetch_login((int)number(words[0], 256), &login);
    const uint8_t command = (uint8_t)number(words[1], 0xFF);
    const unsigned request_length = bytes(words + 2, request);
    unsigned status = LIBIPMI_Create_IPMI20_Session(session, login.ip, 623, login.user_name, login.password,
                                                    6, NULL, NULL, &privilege, 1, 0x81, 0x20, 0, 0, 5);
    printf("LIBIPMI_Create_IPMI20_Session: 0x%04x\n", status);
    if (status != 0) {
        return EXIT_FAILURE;
    }
    status = LIBIPMI_Send_RAW_IPMI2_0_Command(session, 0, 0x38, command, request, request_length, response,
                                              &length, 10);
    printf("LIBIPMI_Send_RAW_IPMI2_0_Command: 0x%04x, %u bytes:", status, (unsigned)length);
    print_bytes(response, length);
    const unsigned closed = LIBIPMI_CloseSession(session);
    printf("LIBIPMI_CloseSession: 0x%04x\n", closed);
    return status == 0 && closed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

static const struct verb {
    const char *name;
    int words; /* at least */
    int (*check)(char **words);
    const char *usage;
} verbs[] = {
    {"i2c", 2, check_i2c,
     "i2c BUS SLAVE [BYTE...] [r COUNT]   write, read, or write and read; \"r 0\" is a quick read"},
    {"lock", 1, check_lock,
     "lock FILE                           lock it, wait for the end of standard input, unlock"},
    {"debug", 2, check_debug, "debug LEVEL TEXT                    debug output"},
    {"controller", 1, check_controller,
     "controller NUMBER                   login and address; 0 is the SMC"},
    {"ipmi", 2, check_ipmi, "ipmi NUMBER COMMAND [BYTE...]       relay one command with NetFn 0x38"},
};

int main(int argc, char **argv) {
    for (size_t i = 0; argc >= 2 && i < sizeof verbs / sizeof *verbs; ++i) {
        if (strcmp(argv[1], verbs[i].name) == 0 && argc - 2 >= verbs[i].words) {
            const int status = verbs[i].check(argv + 2);
            return fflush(stdout) == 0 && ferror(stdout) == 0 ? status : EXIT_FAILURE;
        }
    }
    fputs("usage: port_check VERB\n", stderr);
    for (size_t i = 0; i < sizeof verbs / sizeof *verbs; ++i) {
        fprintf(stderr, "  %s\n", verbs[i].usage);
    }
    return exit_usage;
}
