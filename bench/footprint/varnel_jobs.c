/* SPDX-License-Identifier: Apache-2.0 */
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/sem.h>
#include <syslog.h>
#include <unistd.h>

#include "jobs.h"
#include "varnel/varnel.h"

enum { supply = 0x5800, expander = 0x2000, clock_chip = 0x6800 };

int limit_in_ini(const char *path) {
    int32_t limit = -1;
    return get_config_integer(path, "fan", "limit", 10, &limit) == 0 ? limit : -1;
}

int speed_in_xml(const char *path) {
    xml_document *doc = xml_document_new();
    int speed = -1;
    if (xml_read(doc, path, 0) == 0) {
        xml_iterator it;
        xml_iterator_setup(&it, doc);
        const xml_node *fan = xml_iterator_scan_node_via_attribute_name_and_value(&it, "id", "2");
        const char *value = fan == NULL ? NULL : xml_node_get_attribute_value(fan, "speed");
        speed = value == NULL ? -1 : (int)strtol(value, NULL, 10);
    }
    xml_node_delete(doc->root);
    xml_document_delete(doc);
    return speed;
}

int log_speed(const char *path, int speed) { return log_str(path, "fan 2 at %d rpm", speed); }

int take_and_release_lock(const char *path) {
    const int locks = get_sem_lock(path, 1);
    const int failed = locks == -1 || wait_sem_lock(locks, 0) != 0 || release_sem_lock(locks, 0) != 0;
    (void)semctl(locks, 0, IPC_RMID);
    return failed ? -1 : 0;
}

int post_record(const char *path, int speed) {
    struct {
        uint8_t header[40];
        uint32_t payload_len;
        int speed;
    } record = {{1}, sizeof record.speed, speed};
    const int queue = open(path, O_RDWR | O_CLOEXEC);
    const int result = post_message((const queue_message *)&record, queue);
    (void)close(queue);
    return result;
}

int bring_up_chips(void) {
    uint16_t word;
    const uint8_t leds[] = {0, 1};
    return smbus_read_word_to_device(supply, 0x8B, &word) != 0 ||
           pca9555_init_port_output(expander, leds, sizeof leds) != 0;
}

int log_to_system_log(int speed) {
    IDBG_LINUXAPP_DbgLog(LOG_INFO, "fan 2 at %d rpm", speed);
    return 0;
}

int fetch_file(const char *path, const char *host) { return mma_lan_transfer(path, host); }

int relay_command(void) {
    uint8_t request[1] = {0};
    uint8_t response[64];
    uint32_t length = sizeof response;
    return smc_send_command_to_bmc(0, 1, request, sizeof request, response, &length);
}
