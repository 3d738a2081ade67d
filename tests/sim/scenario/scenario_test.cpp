// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <csignal>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/ini_file.h"
#include "sim/campaign/html.h"
#include "sim/campaign/plan.h"
#include "sim/campaign/results.h"
#include "sim/scenario/report.h"
#include "sim/scenario/script.h"

namespace varnel::test {

using namespace sim::scenario;
using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

script read(const std::string &text) {
    std::istringstream input(text);
    return read_script(input, "x.scenario");
}

/// What a scenario is refused with, after its board and a program "daemon".
std::string refusal(const std::string &line) {
    try {
        read("board b.ini\nstart daemon true\n" + line + "\n");
    } catch (const host::bad_line &wrong) {
        return wrong.what();
    }
    return "accepted";
}

template <class Action>
Action only_step(const std::string &line) {
    return std::get<Action>(read("board b.ini\nstart daemon true\n" + line).steps.at(1).what);
}

// REUSE-IgnoreStart
TEST(scenario, file_has_title_board_and_steps_with_their_lines) {
    const script all =
        read("# SPDX-License-Identifier: Apache-2.0\n# A fan stops.\n# And more.\n\n board  b.ini \n"
             "start daemon sh -c 'echo \"#1\"'\n\n  set psu0.fan  stopped\n");
    EXPECT_EQ(all.title, "A fan stops.");
    EXPECT_EQ(all.board, "b.ini");
    ASSERT_EQ(all.steps.size(), 2U);
    EXPECT_EQ(all.steps[0].line, 6);
    EXPECT_EQ(std::get<start_program>(all.steps[0].what).command, "sh -c 'echo \"#1\"'");
    EXPECT_EQ(all.steps[1].text, "set psu0.fan  stopped");
    EXPECT_THAT(std::get<board_command>(all.steps[1].what).words, ElementsAre("set", "psu0.fan", "stopped"));
}
// REUSE-IgnoreEnd

TEST(scenario, conditions_are_read) {
    const auto soon = only_step<expect_soon>("expect within 2s exp0.led-fault output low");
    EXPECT_EQ(soon.within, 2s);
    EXPECT_EQ(std::get<reading_is>(soon.what).reading, "led-fault");
    EXPECT_EQ(std::get<reading_is>(soon.what).value, "output low");
    const auto none = only_step<expect_none>("expect no transfer to psu1 for 10s");
    EXPECT_EQ(none.during, 10s);
    EXPECT_EQ(std::get<transfer_to>(none.what).chip, "psu1");
    EXPECT_EQ(std::get<prints_line>(only_step<expect_soon>("when daemon prints /a b/c/").what).pattern,
              "a b/c");
    EXPECT_EQ(only_step<expect_soon>("when daemon prints /x/").within, usual_wait);
    EXPECT_EQ(std::get<ends_with>(only_step<expect_soon>("expect daemon ends with 137").what).status, 137);
    EXPECT_EQ(std::get<ends_with>(only_step<expect_soon>("expect daemon ends").what).status, std::nullopt);
    EXPECT_EQ(std::get<command_succeeds>(only_step<expect_none>("expect no succeeds test -s for for 1s").what)
                  .command,
              "test -s for");
}

TEST(scenario, pauses_are_since_the_begin_or_since_the_last_step) {
    EXPECT_TRUE(only_step<pause>("at 3s").since_begin);
    EXPECT_FALSE(only_step<pause>("after 500ms").since_begin);
    EXPECT_EQ(only_step<end_program>("kill daemon").signal, SIGKILL);
    EXPECT_EQ(only_step<end_program>("stop daemon").signal, SIGTERM);
}

TEST(scenario, logs_and_queues_are_files_with_a_pattern) {
    const auto log = std::get<log_has>(only_step<expect_soon>("expect log a.log has /psu0 is/").what);
    EXPECT_EQ(log.file + " " + log.pattern, "a.log psu0 is");
    const script all =
        read("board b.ini\nexpect no queue events has /hot/ for 1s\nwhen queue events has /x/");
    EXPECT_EQ(std::get<queue_has>(std::get<expect_none>(all.steps[0].what).what).pattern, "hot");
    EXPECT_THAT(all.queues, ElementsAre("events"));
    EXPECT_EQ(refusal("expect log a.log /x/"), "x.scenario:3: 'log' is followed by: FILE has /REGEX/");
    EXPECT_EQ(refusal("expect queue events has x"), "x.scenario:3: 'x' is not a /regular expression/");
}

TEST(scenario, power_is_switched_off_and_on_in_turn) {
    const script all = read("board b.ini\npower off\npower on\nstart daemon true\npower off");
    EXPECT_FALSE(std::get<switch_power>(all.steps[0].what).on);
    EXPECT_TRUE(std::get<switch_power>(all.steps[1].what).on);
    EXPECT_EQ(refusal("power"), "x.scenario:3: on or off is missing");
    EXPECT_EQ(refusal("power down"), "x.scenario:3: 'power' is followed by: on, or off");
    EXPECT_EQ(refusal("power on"), "x.scenario:3: the board has power");
    EXPECT_EQ(refusal("power off\npower off"), "x.scenario:4: the board has no power");
    EXPECT_EQ(refusal("power off\nstart other true"), "x.scenario:4: the board has no power");
}

TEST(scenario, mistakes_have_file_and_line) {
    EXPECT_EQ(refusal("wait 3s"),
              "x.scenario:3: there is no 'wait', only board, start, stop, kill, power, at, after, when, "
              "expect, run, set, plug, unplug, fault");
    EXPECT_EQ(refusal("at"), "x.scenario:3: the time is missing");
    EXPECT_EQ(refusal("at noon"), "x.scenario:3: 'noon' is not a time, such as 500ms, 1s or 2m");
    EXPECT_EQ(refusal("at 3s sharp"), "x.scenario:3: unexpected: sharp");
    EXPECT_EQ(refusal("start daemon"), "x.scenario:3: the program is missing");
    EXPECT_EQ(refusal("stop other"), "x.scenario:3: no program 'other' has been started");
    EXPECT_EQ(refusal("expect no other ends for 1s"), "x.scenario:3: no program 'other' has been started");
    EXPECT_EQ(refusal("expect no daemon ends"), "x.scenario:3: 'expect no' ends with: for TIME");
    EXPECT_EQ(refusal("expect daemon prints hello"), "x.scenario:3: 'hello' is not a /regular expression/");
    EXPECT_THAT(refusal("expect daemon prints /(/"), HasSubstr("x.scenario:3: /(/: "));
    EXPECT_EQ(refusal("expect daemon ends with 256"),
              "x.scenario:3: '256' is not an exit status from 0 to 255");
    EXPECT_EQ(refusal("expect .a b"), "x.scenario:3: '.a' is not CHIP.READING");
    EXPECT_EQ(refusal("expect daemon stops"), "x.scenario:3: 'daemon' is followed by: prints /REGEX/, or "
                                              "ends with STATUS; a reading is CHIP.READING");
    EXPECT_EQ(refusal("expect transfer psu0"), "x.scenario:3: 'transfer' is followed by: to CHIP");
    EXPECT_EQ(refusal("board c.ini"), "x.scenario:3: the board has been given");
    EXPECT_THROW(read("set a.b c\n"), host::bad_line);
    EXPECT_THROW(read("board b.ini\n"), host::bad_line);
}

const result good{"a.scenario", "All is well.", 1.25s, std::nullopt};
const result bad{
    "b.scenario", "A fan stops.", 2s,
    failed_step{7, "expect a.b \"c\" & <d>", "within 5000 ms: a.b c", "a.b is 'e'", {"m: 1", "m: \x01"}, {}}};

TEST(scenario_report, text_says_what_was_expected_and_what_came) {
    EXPECT_EQ(text_of(good), "ok    a.scenario: All is well. (1.2 s)\n");
    EXPECT_EQ(text_of(bad), "FAIL  b.scenario:7: expect a.b \"c\" & <d>\n"
                            "  expected  within 5000 ms: a.b c\n"
                            "  came      a.b is 'e'\n"
                            "  printed   m: 1\n"
                            "            m: \x01\n");
}

TEST(scenario_report, junit_escapes_what_xml_does_not_take) {
    EXPECT_EQ(
        junit_of("varnel-sim test", {junit_case_of(good), junit_case_of(bad)}),
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<testsuite name=\"varnel-sim test\" tests=\"2\" failures=\"1\" skipped=\"0\" time=\"3.250\">\n"
        "  <testcase classname=\"varnel-sim\" name=\"a.scenario\" time=\"1.250\"/>\n"
        "  <testcase classname=\"varnel-sim\" name=\"b.scenario\" time=\"2.000\">\n"
        "    <failure message=\"line 7: expect a.b &quot;c&quot; &amp; &lt;d&gt;\">"
        "  expected  within 5000 ms: a.b c\n  came      a.b is 'e'\n  printed   m: 1\n            m: ?\n"
        "</failure>\n  </testcase>\n</testsuite>\n");
}

namespace campaign = sim::campaign;
using sim::fault_kind;

sim::transfer_record record(const std::string &chip, std::size_t written, std::size_t read) {
    sim::transfer_record made{};
    if (!chip.empty()) {
        made.chips.push_back({chip, "0"});
    }
    made.written.length = written;
    made.read.length = read;
    return made;
}

std::string names(const std::vector<campaign::trial> &trials) {
    std::string all;
    for (const campaign::trial &each : trials) {
        all += (all.empty() ? "" : " ") + name_of(each);
    }
    return all;
}

TEST(campaign_plan, tries_what_can_strike_each_transfer_once_and_from_then_on) {
    const auto quick = campaign::plan({record("", 1, 0), record("exp", 0, 0)}, {});
    EXPECT_EQ(names(quick), "2:nack 2:nack:on 2:stuck 2:stuck:on 2:scl-stuck 2:scl-stuck:on 2:arbitration "
                            "2:arbitration:on 2:brownout 2:brownout:on");
    const auto write = names(campaign::plan({record("exp", 2, 0)}, {"sel"}));
    EXPECT_THAT(write, HasSubstr("1:nack-byte 1:nack-byte:on 1:busy 1:busy:on 1:short "));
    EXPECT_THAT(write, HasSubstr("1:power-loss"));
    EXPECT_THAT(write, ::testing::Not(HasSubstr("1:frozen")));
    EXPECT_THAT(write, ::testing::Not(HasSubstr("1:taken")));
    const auto reading = campaign::plan({record("sel", 1, 2)}, {"sel"});
    EXPECT_THAT(names(reading), HasSubstr("1:pec 1:pec:on 1:frozen 1:frozen:on"));
    EXPECT_THAT(names(reading), HasSubstr("1:taken 1:taken:on"));
    EXPECT_THAT(names(reading), ::testing::Not(HasSubstr("1:busy")));
    EXPECT_EQ(names(campaign::chosen(reading, "1:taken:on")), "1:taken:on");
    EXPECT_EQ(campaign::chosen(reading, "1").size(), reading.size());
    EXPECT_EQ(names(campaign::chosen(reading, "2")), "");
}

sim::transfer_record struck_record(sim::fault_kind kind) {
    sim::transfer_record made = record("exp", 2, 0);
    made.faults = {kind};
    return made;
}

TEST(campaign_plan, pairs_begin_with_a_run_and_go_on_with_what_it_did_then) {
    const auto first = campaign::plan({record("exp", 0, 0)}, {}).front();
    ASSERT_EQ(name_of(first), "1:nack");
    const auto pairs = names(
        campaign::pairs_after(first, {record("exp", 0, 0), record("exp", 0, 0), record("exp", 0, 0)}, {}));
    EXPECT_THAT(pairs, HasSubstr("1:nack+2:nack 1:nack+2:stuck "));
    EXPECT_THAT(pairs, HasSubstr("1:nack+3:stuck"));
    EXPECT_THAT(pairs, ::testing::Not(HasSubstr("1:nack+3:nack"))) << "a chip has one fault of a kind";
    EXPECT_THAT(pairs, ::testing::Not(HasSubstr(":on")));
    const auto other =
        names(campaign::pairs_after(first, {record("exp", 0, 0), {}, record("mux", 0, 0)}, {}));
    EXPECT_THAT(other, HasSubstr("1:nack+3:nack"));
    EXPECT_THAT(other, ::testing::Not(HasSubstr("+2:")));
}

TEST(campaign_plan, pairs_that_follow_each_other_soon_come_first) {
    const auto first = campaign::plan({record("exp", 0, 0)}, {}).front();
    auto pairs = campaign::pairs_after(first, std::vector(5, record("mux", 0, 0)), {});
    campaign::order_pairs(pairs);
    std::vector<uint64_t> transfers;
    for (const campaign::trial &each : pairs) {
        transfers.push_back(each.second->transfer);
    }
    EXPECT_TRUE(std::ranges::is_sorted(transfers));
    EXPECT_EQ(pairs.size(), 20U);
}

TEST(campaign_plan, pair_has_struck_when_both_faults_have) {
    const campaign::strike nack{1, fault_kind::nack, false, "exp", ""};
    const campaign::strike flip{2, fault_kind::flip, false, "exp", ""};
    const auto [nacked, flipped] =
        std::pair(struck_record(fault_kind::nack), struck_record(fault_kind::flip));
    EXPECT_TRUE(campaign::struck({nack}, {nacked}));
    EXPECT_FALSE(campaign::struck({nack}, {flipped}));
    EXPECT_TRUE(campaign::struck({nack, flip}, {nacked, flipped}));
    EXPECT_FALSE(campaign::struck({nack, flip}, {nacked, nacked}));
    EXPECT_TRUE(campaign::struck({nack, nack}, {nacked, nacked}));
    EXPECT_FALSE(campaign::struck({nack, nack}, {nacked}));
}

std::vector<campaign::judged> two_results() {
    const campaign::strike nack{1, fault_kind::nack, false, "exp", "exp@0x20 <0>"};
    const campaign::strike flip{1, fault_kind::flip, true, "exp", "exp@0x20 <0>"};
    return {{{nack}, "prints: \"<b>\" & more", true, 1s, {}},
            {{flip}, "", true, 1s, {}},
            {{nack, flip}, "hangs", true, 1s, {}}};
}

TEST(campaign_results, table_has_a_row_for_each_transfer) {
    const std::string table = table_of(two_results());
    EXPECT_THAT(table, HasSubstr("     nack\n        nack-byte\n"));
    EXPECT_THAT(table, HasSubstr("\n   1 X                        .  "));
    EXPECT_EQ(campaign::summary_of(1, 9, two_results()),
              "1 transfers, 3 runs of 9 planned, 3 with a fault that struck: 2 bad");
}

TEST(campaign_results, page_escapes_what_programs_print_and_leads_to_each_bad_run) {
    const std::string page = campaign::html_of(
        {"a <b>", "summary", [](const campaign::judged &run) { return "again " + name_of(run.of); }},
        two_results());
    EXPECT_THAT(page, HasSubstr("<code>a &lt;b&gt;</code>"));
    EXPECT_THAT(page, HasSubstr("<a href=\"#run-1:nack\""));
    EXPECT_THAT(page, HasSubstr("<tr id=\"run-1:nack\">"));
    EXPECT_THAT(page, HasSubstr("prints: &quot;&lt;b&gt;&quot; &amp; more"));
    EXPECT_THAT(page, HasSubstr("<code>again 1:nack+1:flip:on</code>"));
    EXPECT_THAT(page, ::testing::Not(HasSubstr("<script")));
    EXPECT_THAT(page, ::testing::Not(HasSubstr("<0>")));
}

TEST(campaign_verdict, names_what_was_bad) {
    EXPECT_EQ(verdict(campaign::ending{0, {}}, {}), "");
    EXPECT_EQ(verdict(campaign::ending{5, {}}, {}), "");
    EXPECT_EQ(verdict(campaign::ending{std::nullopt, {}}, {}), "hangs");
    EXPECT_EQ(verdict(campaign::ending{139, {}}, {}), "is ended by SIGSEGV");
    EXPECT_EQ(verdict(campaign::ending{127, {}}, {}), "ends with 127");
    EXPECT_EQ(verdict(campaign::ending{1, {}}, {.status = 0}), "ends with 1");
    EXPECT_EQ(verdict(campaign::ending{0, {"one", "level 255 C"}}, {.forbidden = "25[0-9] C$"}),
              "prints: level 255 C");
    EXPECT_EQ(verdict(campaign::ending{0, {"level 55 C"}}, {.forbidden = "25[0-9] C$"}), "");
    EXPECT_EQ(verdict(campaign::ending{0, {}, 2}, {}), "the check ends with 2");
    EXPECT_EQ(verdict(campaign::ending{0, {}, 0}, {}), "");
}

} // namespace varnel::test
