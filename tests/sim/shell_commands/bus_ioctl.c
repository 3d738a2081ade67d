/* SPDX-License-Identifier: Apache-2.0 */
/*
 * bus_ioctl BUS STEP, STEP, ...: makes the system calls of each step on one open /dev/i2c-BUS, and prints a line with the
 * result for each: the number, an error in words, and the bytes that were read.
 *
 *   access ro|wo|rw         opens the bus again for reading, writing or both
 *   slave N | force N | ten-bit N | pec N | retries N | timeout N
 *                           the ioctl of that name, with a number
 *   request R N             any ioctl
 *   funcs | funcs null      I2C_FUNCS
 *   smbus W COMMAND SIZE [BYTES|null|bad]
 *                           I2C_SMBUS with W = read, write or a number; SIZE is the name of a transaction or a number;
 *                           BYTES is what i2c_smbus_data begins with, the rest of it is ee
 *   smbus null              I2C_SMBUS without a structure
 *   rdwr MESSAGE...         I2C_RDWR. A message is FLAGS@ADDRESS=BYTES/LENGTH: flags are letters (see flag_of), LENGTH is
 *                           that of BYTES if it is not given, BYTES may be "null" or "bad". N*MESSAGE: that many.
 *   rdwr null | rdwr none | rdwr nowhere N
 *                           I2C_RDWR without a structure, without messages, with N messages at address 0
 *   read N | write BYTES | read-bad N | write-bad N
 *                           read() and write(), or from memory that does not exist
 *   poll                    what poll() returns
 */
#include <errno.h>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <poll.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

enum { MOST_WORDS = 64, MOST_MESSAGES = 64, LONGEST_MESSAGE = 9000, MOST_BYTES_SHOWN = 48 };

static char path[32];
static int bus;
static unsigned char buffers[MOST_MESSAGES][LONGEST_MESSAGE];

static void *const nowhere = (void *)1;

__attribute__((noreturn)) static void misused(const char *word) {
    fprintf(stderr, "bus_ioctl: what is '%s'?\n", word == NULL ? "a missing word" : word);
    exit(100);
}

static unsigned long number(const char *word) {
    char *end = NULL;
    const unsigned long value = word == NULL ? 0 : strtoul(word, &end, 0);
    if (end == NULL || end == word || *end != '\0') {
        misused(word);
    }
    return value;
}

static void report(long result) {
    printf("%ld", result);
    if (result < 0) {
        printf(" %s", strerror(errno));
    }
}

static void show(const unsigned char *bytes, size_t size) {
    putchar(' ');
    for (size_t i = 0; i < size && i < MOST_BYTES_SHOWN; ++i) {
        printf("%02x", bytes[i]);
    }
    if (size > MOST_BYTES_SHOWN) {
        printf("... %zu bytes", size);
    }
}

/* Bytes in hex, up to the end or a '/'. Returns how many. */
static size_t parse_bytes(const char *text, unsigned char *to) {
    size_t size = 0;
    unsigned int byte;
    for (; *text != '\0' && *text != '/'; text += 2) {
        if (size == LONGEST_MESSAGE || sscanf(text, "%2x", &byte) != 1) {
            misused(text);
        }
        to[size++] = (unsigned char)byte;
    }
    return size;
}

static void open_for(int access) {
    if (bus > 0) {
        close(bus);
    }
    bus = open(path, access);
    if (bus < 0) {
        perror(path);
        exit(1);
    }
}

static void step_access(char **words) {
    static const struct {
        const char *name;
        int flags;
    } kinds[] = {{"ro", O_RDONLY}, {"wo", O_WRONLY}, {"rw", O_RDWR}};
    for (size_t i = 0; i < sizeof kinds / sizeof kinds[0]; ++i) {
        if (words[0] != NULL && strcmp(words[0], kinds[i].name) == 0) {
            open_for(kinds[i].flags);
            putchar('0');
            return;
        }
    }
    misused(words[0]);
}

static void step_slave(char **words) { report(ioctl(bus, I2C_SLAVE, number(words[0]))); }
static void step_force(char **words) { report(ioctl(bus, I2C_SLAVE_FORCE, number(words[0]))); }
static void step_ten_bit(char **words) { report(ioctl(bus, I2C_TENBIT, number(words[0]))); }
static void step_pec(char **words) { report(ioctl(bus, I2C_PEC, number(words[0]))); }
static void step_retries(char **words) { report(ioctl(bus, I2C_RETRIES, number(words[0]))); }
static void step_timeout(char **words) { report(ioctl(bus, I2C_TIMEOUT, number(words[0]))); }
static void step_request(char **words) { report(ioctl(bus, number(words[0]), number(words[1]))); }

static void step_funcs(char **words) {
    unsigned long functions = 0;
    const int result = ioctl(bus, I2C_FUNCS, words[0] == NULL ? &functions : NULL);
    report(result);
    if (result == 0) {
        printf(" %08lx", functions);
    }
}

static const struct {
    const char *name;
    unsigned int size;
    size_t data; /* bytes of i2c_smbus_data that it uses */
} transactions[] = {
    {"quick", I2C_SMBUS_QUICK, 0},
    {"byte", I2C_SMBUS_BYTE, 1},
    {"byte-data", I2C_SMBUS_BYTE_DATA, 1},
    {"word-data", I2C_SMBUS_WORD_DATA, 2},
    {"proc-call", I2C_SMBUS_PROC_CALL, 2},
    {"block-data", I2C_SMBUS_BLOCK_DATA, I2C_SMBUS_BLOCK_MAX + 2},
    {"i2c-block-broken", I2C_SMBUS_I2C_BLOCK_BROKEN, I2C_SMBUS_BLOCK_MAX + 2},
    {"block-proc-call", I2C_SMBUS_BLOCK_PROC_CALL, I2C_SMBUS_BLOCK_MAX + 2},
    {"i2c-block-data", I2C_SMBUS_I2C_BLOCK_DATA, I2C_SMBUS_BLOCK_MAX + 2},
};

/* Sets the transaction of a request. Returns how many bytes of data it uses. */
static size_t set_transaction(struct i2c_smbus_ioctl_data *request, const char *name) {
    for (size_t i = 0; name != NULL && i < sizeof transactions / sizeof transactions[0]; ++i) {
        if (strcmp(name, transactions[i].name) == 0) {
            request->size = transactions[i].size;
            return transactions[i].data;
        }
    }
    request->size = (unsigned int)number(name);
    return sizeof(union i2c_smbus_data);
}

static unsigned char direction_of(const char *word) {
    if (word != NULL && strcmp(word, "read") == 0) {
        return I2C_SMBUS_READ;
    }
    return word != NULL && strcmp(word, "write") == 0 ? I2C_SMBUS_WRITE : (unsigned char)number(word);
}

static void step_smbus(char **words) {
    if (words[0] != NULL && strcmp(words[0], "null") == 0) {
        report(ioctl(bus, I2C_SMBUS, NULL));
        return;
    }
    union i2c_smbus_data data;
    struct i2c_smbus_ioctl_data request = {direction_of(words[0]), (unsigned char)number(words[1]), 0, &data};
    const size_t size = set_transaction(&request, words[2]);
    memset(&data, 0xEE, sizeof data);
    if (words[3] != NULL && strcmp(words[3], "null") == 0) {
        request.data = NULL;
    } else if (words[3] != NULL && strcmp(words[3], "bad") == 0) {
        request.data = nowhere;
    } else if (words[3] != NULL) {
        const size_t given = parse_bytes(words[3], buffers[0]);
        memcpy(&data, buffers[0], given < sizeof data ? given : sizeof data);
    }
    const int result = ioctl(bus, I2C_SMBUS, &request);
    report(result);
    if (result == 0 && request.data == &data && size != 0) {
        show(data.block, size);
    }
}

static unsigned short flag_of(char letter) {
    static const struct {
        char letter;
        unsigned short flag;
    } flags[] = {{'w', 0},
                 {'r', I2C_M_RD},
                 {'t', I2C_M_TEN},
                 {'l', I2C_M_RECV_LEN},
                 {'k', I2C_M_NO_RD_ACK},
                 {'i', I2C_M_IGNORE_NAK},
                 {'v', I2C_M_REV_DIR_ADDR},
                 {'n', I2C_M_NOSTART},
                 {'s', I2C_M_STOP}};
    for (size_t i = 0; i < sizeof flags / sizeof flags[0]; ++i) {
        if (flags[i].letter == letter) {
            return flags[i].flag;
        }
    }
    misused((const char[]){letter, '\0'});
}

/* FLAGS@ADDRESS=BYTES/LENGTH */
static struct i2c_msg parse_message(const char *word, unsigned char *buffer) {
    struct i2c_msg message = {0, 0, 0, buffer};
    const char *at = word;
    for (; *at != '@' && *at != '\0'; ++at) {
        message.flags |= flag_of(*at);
    }
    char *bytes = NULL;
    message.addr = *at == '@' ? (unsigned short)strtoul(at + 1, &bytes, 0) : 0;
    if (bytes == NULL || *bytes != '=') {
        misused(word);
    }
    ++bytes;
    if (strncmp(bytes, "null", 4) == 0) {
        message.buf = NULL;
    } else if (strncmp(bytes, "bad", 3) == 0) {
        message.buf = nowhere;
    } else {
        message.len = (unsigned short)parse_bytes(bytes, buffer);
    }
    const char *const length = strchr(bytes, '/');
    if (length != NULL) {
        message.len = (unsigned short)number(length + 1);
    }
    return message;
}

/* Returns how many messages the words are. */
static unsigned int parse_messages(char **words, struct i2c_msg *messages) {
    unsigned int count = 0;
    memset(buffers, 0, sizeof buffers);
    for (; *words != NULL; ++words) {
        char *const times = strchr(*words, '*');
        for (unsigned long n = times == NULL ? 1 : strtoul(*words, NULL, 0); n > 0; --n, ++count) {
            if (count == MOST_MESSAGES) {
                misused(*words);
            }
            messages[count] = parse_message(times == NULL ? *words : times + 1, buffers[count]);
        }
    }
    return count;
}

static void step_rdwr(char **words) {
    struct i2c_msg messages[MOST_MESSAGES];
    struct i2c_rdwr_ioctl_data request = {messages, 0};
    if (words[0] == NULL) {
        misused(NULL);
    } else if (strcmp(words[0], "null") == 0) {
        report(ioctl(bus, I2C_RDWR, NULL));
        return;
    } else if (strcmp(words[0], "nowhere") == 0) {
        request = (struct i2c_rdwr_ioctl_data){NULL, (unsigned int)number(words[1])};
    } else if (strcmp(words[0], "none") != 0) {
        request.nmsgs = parse_messages(words, messages);
    }
    const int result = ioctl(bus, I2C_RDWR, &request);
    report(result);
    for (int i = 0; i < result; ++i) {
        if ((messages[i].flags & I2C_M_RD) != 0) {
            show(messages[i].buf, messages[i].buf == NULL ? 0 : messages[i].len);
        }
    }
}

static void step_read(char **words) {
    const ssize_t result = read(bus, buffers[0], number(words[0]));
    report(result);
    if (result > 0) {
        show(buffers[0], (size_t)result);
    }
}

static void step_write(char **words) {
    const size_t size = words[0] == NULL ? 0 : parse_bytes(words[0], buffers[0]);
    report(write(bus, buffers[0], size));
}

static void step_read_bad(char **words) { report(read(bus, nowhere, number(words[0]))); }
static void step_write_bad(char **words) { report(write(bus, nowhere, number(words[0]))); }

static void step_poll(char **words) {
    struct pollfd state = {bus, POLLIN | POLLOUT | POLLPRI, 0};
    (void)words;
    report(poll(&state, 1, 0));
    printf(" %s%s%s", (state.revents & POLLIN) != 0 ? "in " : "",
           (state.revents & POLLOUT) != 0 ? "out " : "", (state.revents & POLLPRI) != 0 ? "pri" : "");
}

static void perform(char **words) {
    static const struct {
        const char *name;
        void (*step)(char **);
    } steps[] = {{"access", step_access},   {"slave", step_slave},       {"force", step_force},
                 {"ten-bit", step_ten_bit}, {"pec", step_pec},           {"retries", step_retries},
                 {"timeout", step_timeout}, {"request", step_request},   {"funcs", step_funcs},
                 {"smbus", step_smbus},     {"rdwr", step_rdwr},         {"read", step_read},
                 {"write", step_write},     {"read-bad", step_read_bad}, {"write-bad", step_write_bad},
                 {"poll", step_poll}};
    for (size_t i = 0; i < sizeof steps / sizeof steps[0]; ++i) {
        if (words[0] != NULL && strcmp(words[0], steps[i].name) == 0) {
            steps[i].step(words + 1);
            printf("\n");
            return;
        }
    }
    misused(words[0]);
}

/* Takes the words of a step, up to one that ends with a comma. Returns where the next step begins. */
static char **take_step(char **words, char **step) {
    size_t count = 0;
    for (bool more = true; more && *words != NULL && count < MOST_WORDS; ++words) {
        const size_t length = strlen(*words);
        more = length == 0 || (*words)[length - 1] != ',';
        if (!more) {
            (*words)[length - 1] = '\0';
        }
        step[count++] = *words;
    }
    step[count] = NULL;
    return words;
}

int main(int argc, char **argv) {
    char *step[MOST_WORDS + 1];
    if (argc < 3) {
        misused(NULL);
    }
    snprintf(path, sizeof path, "/dev/i2c-%s", argv[1]);
    open_for(O_RDWR);
    for (char **words = argv + 2; *words != NULL;) {
        words = take_step(words, step);
        perform(step);
    }
    return 0;
}
