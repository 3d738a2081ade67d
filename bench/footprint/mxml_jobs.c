/* SPDX-License-Identifier: Apache-2.0 */
/* Jobs of the smallest peers: Mini-XML, and a log without a library. */
#include <mxml.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>

#include "jobs.h"

int speed_in_xml(const char *path) {
    FILE *file = fopen(path, "re");
    mxml_node_t *tree = file == NULL ? NULL : mxmlLoadFile(NULL, file, MXML_OPAQUE_CALLBACK);
    mxml_node_t *fan = mxmlFindElement(tree, tree, "fan", "id", "2", MXML_DESCEND);
    const char *speed = fan == NULL ? NULL : mxmlElementGetAttr(fan, "speed");
    const int result = speed == NULL ? -1 : (int)strtol(speed, NULL, 10);
    mxmlDelete(tree);
    if (file != NULL) {
        (void)fclose(file);
    }
    return result;
}

int log_speed(const char *path, int speed) {
    char old[300];
    char date[26];
    struct stat status;
    const time_t now = time(NULL);
    if (stat(path, &status) == 0 && status.st_size > 0x100000) {
        (void)snprintf(old, sizeof old, "%s.old", path);
        (void)rename(path, old);
    }
    FILE *file = fopen(path, "ae");
    if (file == NULL) {
        return -1;
    }
    (void)fprintf(file, "%s\tfan 2 at %d rpm\n", ctime_r(&now, date), speed);
    return fclose(file);
}
