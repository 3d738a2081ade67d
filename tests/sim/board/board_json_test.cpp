// SPDX-License-Identifier: Apache-2.0
#include "sim/protocol/board_json.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace varnel::test {

using namespace sim;
using namespace std::chrono_literals;
using json = nlohmann::ordered_json;

const transfer_record complete{12034567us,
                               "monitor",
                               1234,
                               0,
                               {{"a", "0/mux.1"}, {"b", "0/mux.2"}},
                               0x20,
                               operation::write_read,
                               traced_register{2, "LOW"},
                               {{2}, 1},
                               {{122, 123}, 2},
                               0,
                               0,
                               {fault_kind::flip},
                               false};

const transfer_record unanswered{0us, "monitor", 1,       3,  {},    0x33, operation::write,
                                 {},  {{}, 2},   {{}, 0}, -1, ENXIO, {}};

TEST(board_json, transfer_has_the_documented_fields) {
    EXPECT_EQ(json(complete).dump(),
              R"({"time_seconds":12.034567,"process":"monitor","pid":1234,"bus":0,)"
              R"("path":["0/mux.1","0/mux.2"],"chips":["a","b"],"address":32,"operation":"write-read",)"
              R"("register":2,"register_name":"LOW","written":[2],"written_length":1,"read":[122,123],)"
              R"("read_length":2,"result":0,"error":null,"error_text":null,"faults":["flip"],"stop":false})");
    EXPECT_EQ(json(unanswered).dump(),
              R"({"time_seconds":0.0,"process":"monitor","pid":1,"bus":3,"path":[],"chips":[],"address":51,)"
              R"("operation":"write","register":null,"register_name":null,"written":[],"written_length":2,)"
              R"("read":[],"read_length":0,"result":-1,"error":"ENXIO",)"
              R"("error_text":"No such device or address","faults":[],"stop":true})");
}

TEST(board_json, transfer_is_read_back_unchanged) {
    EXPECT_EQ(json(complete).get<transfer_record>(), complete);
    EXPECT_EQ(json(unanswered).get<transfer_record>(), unanswered);
    transfer_record other = complete;
    other.selected = traced_register{0xEE, ""};
    other.kind = operation::read;
    other.time = 9007199254us;
    EXPECT_EQ(json(other).get<transfer_record>(), other);
}

TEST(board_json, transfer_with_a_wrong_field_is_refused) {
    for (const auto &[key, value] :
         {std::pair("operation", "scan"), std::pair("error", "ENOTHING"), std::pair("time_seconds", "x")}) {
        json changed = complete;
        changed[key] = value;
        EXPECT_ANY_THROW((void)changed.get<transfer_record>()) << key;
    }
}

const server_status running{
    {"small",
     {{"psu",
       "car2512",
       true,
       {{"mux.0", 0x58}, {"1", 0x59}},
       {{"psu", {true, false}}},
       {{"load", measurement{180.25, unit::watts, 1}, true},
        {"status", register_value{0x12, 4}, false},
        {"fan", "ok", true}},
       {{fault_kind::nack, {.count = 3, .seed = 7}},
        {fault_kind::flip, {.count = std::nullopt, .rate = 0.25, .seed = 9}},
        {fault_kind::stretch,
         {.count = 2, .rate = 0.5, .from = {.transfer = 4}, .until = {.time = 2500ms}, .parameter = 3}}}}}},
    "/boards/small.ini",
    1.5s,
    77,
    {{"monitor", 78}}};

TEST(board_json, status_has_the_documented_fields) {
    EXPECT_EQ(
        json(running).dump(),
        R"({"board":"small","chips":{"psu":{"type":"car2512","plugged":true,"connections":[)"
        R"({"bus":"mux.0","address":88},{"bus":"1","address":89}],"channels":[{"name":"psu","on":[true,false]}],"readings":[)"
        R"({"name":"load","settable":true,"number":180.25,"unit":"watts","decimals":1},)"
        R"({"name":"status","settable":false,"bits":18,"digits":4},)"
        R"({"name":"fan","settable":true,"text":"ok"}],"faults":[)"
        R"({"kind":"nack","transfers":3,"seed":7},{"kind":"flip","rate":0.25,"seed":9},)"
        R"({"kind":"stretch","transfers":2,"rate":0.5,"seed":1,"from_transfer":4,"until_seconds":2.5,"byte":3}]}},)"
        R"("file":"/boards/small.ini","uptime_seconds":1.5,"server":77,)"
        R"("programs":[{"process":"monitor","pid":78}]})");
}

TEST(board_json, status_is_read_back_unchanged) {
    const json sent = running;
    const auto received = sent.get<server_status>();
    EXPECT_EQ(json(received), sent);
    EXPECT_EQ(received.board.chips.at(0).faults, running.board.chips.at(0).faults);
    EXPECT_EQ(received.board.chips.at(0).readings.at(0).value,
              reading_value(measurement{180.25, unit::watts, 1}));
}

} // namespace varnel::test
