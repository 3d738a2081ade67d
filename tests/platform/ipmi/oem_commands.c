/* SPDX-License-Identifier: Apache-2.0 */
/* Plug-in of the IPMI simulator ipmi_sim: answers NetFn 38h on every BMC it serves, counts the commands it
   executed, and gives each BMC a user whose name and password fill their fields, which are longer than the
   configuration file allows. */
#include <string.h>
#include <unistd.h>

#include <OpenIPMI/mcserv.h>

enum {
    oem_net_function = 0x38,
    echo = 0x10,        /* answers the request's data */
    pattern = 0x11,     /* [low, high]: answers that many bytes 0, 1, 2 ... */
    identify = 0x12,    /* answers the BMC's IPMB address */
    fail = 0x13,        /* [code]: answers that completion code and one byte, A5h */
    drop = 0x14,        /* [tag, n]: does not answer the first n requests of the tag, then as executions */
    pause_first = 0x15, /* [tag, n]: as executions, after n * 50 ms */
    executions = 0x16,  /* [tag]: answers with the number of requests of the tag so far */
};

enum { full_user = 6, full_user_length = 16, full_password_length = 20 };
static const char full_user_name[full_user_length + 1] = "sixteen.letters.";
static const char full_password[full_password_length + 1] = "twenty.letters.long.";

/* The simulator has one thread. */
static sys_data_t *simulated;
static int (*forward)(channel_t *channel, msg_t *message);
static unsigned char executed[256];

static void answer(channel_t *channel, msg_t *message, unsigned char *response, unsigned length) {
    ipmi_handle_smi_rsp(channel, message, response, (int)length);
}

static void answer_byte(channel_t *channel, msg_t *message, unsigned char byte) {
    unsigned char response[2] = {0, byte};
    answer(channel, message, response, sizeof response);
}

static void answer_pattern(channel_t *channel, msg_t *message, unsigned length) {
    unsigned char response[1 + 1024] = {0};
    for (unsigned i = 0; i < length && i < 1024; ++i) {
        response[1 + i] = (unsigned char)i;
    }
    answer(channel, message, response, 1 + length);
}

static void answer_echo(channel_t *channel, msg_t *message) {
    unsigned char response[1 + 1024] = {0};
    memcpy(response + 1, message->data, message->len);
    answer(channel, message, response, 1U + message->len);
}

static unsigned char address_of(const lmc_data_t *mc) {
    for (int i = 0; i < IPMI_MAX_MCS; ++i) {
        if (simulated->ipmb_addrs[i] == mc) {
            return (unsigned char)i;
        }
    }
    return 0;
}

static int execute(channel_t *channel, msg_t *message) {
    const unsigned char *data = message->data;
    switch (message->cmd) {
    case echo:
        answer_echo(channel, message);
        return 0;
    case pattern:
        answer_pattern(channel, message, data[0] | (unsigned)data[1] << 8);
        return 0;
    case identify:
        answer_byte(channel, message, address_of(channel->mc));
        return 0;
    case fail:
        answer(channel, message, (unsigned char[]){data[0], 0xA5}, 2);
        return 0;
    case executions:
        answer_byte(channel, message, executed[data[0]]);
        return 0;
    case drop:
        if (++executed[data[0]] <= data[1]) {
            channel->free(channel, message);
            return 0;
        }
        answer_byte(channel, message, executed[data[0]]);
        return 0;
    case pause_first:
        ++executed[data[0]];
        usleep(data[1] * 50000U);
        answer_byte(channel, message, executed[data[0]]);
        return 0;
    default:
        return forward(channel, message);
    }
}

static int execute_or_forward(channel_t *channel, msg_t *message) {
    return message->netfn == oem_net_function ? execute(channel, message) : forward(channel, message);
}

static void add_full_user(user_t *user) {
    user->valid = 1;
    user->privilege = 4;
    user->max_sessions = 10;
    memcpy(user->username, full_user_name, full_user_length);
    memcpy(user->pw, full_password, full_password_length);
}

int ipmi_sim_module_print_version(sys_data_t *system, char *arguments) {
    (void)system;
    (void)arguments;
    return 0;
}

int ipmi_sim_module_init(sys_data_t *system, const char *arguments) {
    (void)system;
    (void)arguments;
    return 0;
}

int ipmi_sim_module_post_init(sys_data_t *system) {
    simulated = system;
    for (int i = 0; i < IPMI_MAX_MCS; ++i) {
        lmc_data_t *mc = system->ipmb_addrs[i];
        if (mc == NULL) {
            continue;
        }
        channel_t *lan = system->mc_get_channelset(mc)[1];
        if (lan != NULL) {
            forward = lan->smi_send;
            lan->smi_send = execute_or_forward;
        }
        add_full_user(&system->mc_get_users(mc)[full_user]);
    }
    return 0;
}
