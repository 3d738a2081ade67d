/* SPDX-License-Identifier: Apache-2.0 */
/* Also in a program that is not position-independent, the library recognises its own output function: a value
   without entities is written with one write(2) for each run of plain bytes. */
#include <stdio.h>
#include <string.h>
#include <sys/types.h>

#include "varnel/lan_transfer.h"
#include "varnel/xml.h"

static int writes;

ssize_t write(int descriptor, const void *bytes, size_t length) {
    (void)descriptor;
    (void)bytes;
    ++writes;
    return (ssize_t)length;
}

int main(void) {
    xml_output out;
    memset(&out, 0, sizeof out);
    if (g_transfer_server_ok != 0 || xml_output_setup(&out, xml_output_function_to_file_descriptor) != 0) {
        return 1;
    }
    xml_output_escape_string(&out, "a run of plain bytes & another");
    printf("%d writes\n", writes);
    return 0;
}
