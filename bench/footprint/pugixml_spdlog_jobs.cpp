// SPDX-License-Identifier: Apache-2.0
// Jobs of the peers in C++: pugixml and spdlog.
#include <memory>

#include <pugixml.hpp>
#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>

#include "jobs.h"

int speed_in_xml(const char *path) {
    pugi::xml_document document;
    if (!document.load_file(path)) {
        return -1;
    }
    return document.child("fans").find_child_by_attribute("fan", "id", "2").attribute("speed").as_int(-1);
}

int log_speed(const char *path, int speed) {
    try {
        spdlog::logger log("daemon",
                           std::make_shared<spdlog::sinks::rotating_file_sink_st>(path, 0x100000, 1));
        log.set_pattern("%c\n\t%v");
        log.info("fan 2 at {} rpm", speed);
    } catch (const spdlog::spdlog_ex &) {
        return -1;
    }
    return 0;
}
