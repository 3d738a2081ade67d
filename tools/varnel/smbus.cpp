// SPDX-License-Identifier: Apache-2.0
// varnel smbus: every SMBus transaction, and raw transfers.

#include <array>
#include <cctype>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/hex.h"
#include "host/options.h"
#include "tools/varnel/confirm.h"
#include "tools/varnel/device_address.h"
#include "tools/varnel/library_call.h"
#include "tools/varnel/pmbus.h"
#include "tools/varnel/report.h"
#include "tools/varnel/smbus_survey.h"
#include "tools/varnel/verb.h"
#include "varnel/smbus.h"

namespace varnel::tools {

namespace {

constexpr std::size_t longest_block = 32;
constexpr std::size_t longest_transfer = 255;

struct options {
    device_address chip;
    uint8_t command = 0;
    bool has_command = false;
    uint64_t value = 0;
    std::vector<uint8_t> bytes;
    std::size_t length = 0;
    bool read = false;
    bool verify = false;
};

std::string in_hex(std::span<const uint8_t> bytes) { return "0x" + host::hex(bytes, " 0x"); }

std::string register_name(const options &given) { return fmt::format("register 0x{:02x}", given.command); }

std::string trouble(const options &given, const char *verb) {
    return fmt::format("{} {}", verb, register_name(given));
}

void print_value(const invocation &call, const options &given, const std::string &text, json value) {
    report lines;
    lines.add("device", given.chip.name());
    if (given.has_command) {
        lines.add("register", given.command);
    }
    lines.add("value", std::move(value));
    print(call.json ? lines.text(call) : text + "\n");
}

void print_bytes(const invocation &call, const options &given, const std::vector<uint8_t> &bytes) {
    print_value(call, given, in_hex(bytes), bytes);
}

/// Going by the address: what is written to an EEPROM outlives the board's power.
bool may_be_eeprom(const device_address &chip) { return chip.address >= 0x50 && chip.address <= 0x57; }

void confirm_write(const invocation &call, const options &given, const std::string &data) {
    if (may_be_eeprom(given.chip)) {
        confirm(call, fmt::format("{}: write {} to {}; chips at 0x50 to 0x57 are EEPROMs, which keep it",
                                  given.chip.name(), data, register_name(given)));
    }
}

/// Reads back what was written. An EEPROM does not answer while it stores it: asked again for a while.
template <typename Value, typename Read>
void verify(const options &given, const Value &written, Read read, const auto &to_text) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    Value found{written};
    while (read(found) != 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    on(given.chip, trouble(given, "read back"), [&](uint32_t) { return read(found); });
    if (found != written) {
        throw failed(fmt::format("{}: {}: wrote {}, reads {}", given.chip.name(), register_name(given),
                                 to_text(written), to_text(found)));
    }
}

std::string byte_text(uint8_t byte) { return fmt::format("0x{:02x}", byte); }
std::string word_text(uint16_t word) { return fmt::format("0x{:04x}", word); }

void quick(const options &given) {
    on(given.chip, "quick command",
       [&](uint32_t handle) { return smbus_quick_to_device(handle, given.read ? 1 : 0); });
}

void send_byte(const options &given) {
    on(given.chip, "send byte",
       [&](uint32_t handle) { return smbus_send_byte_to_device(handle, static_cast<uint8_t>(given.value)); });
}

void receive_byte(const invocation &call, const options &given) {
    uint8_t byte = 0;
    on(given.chip, "receive byte", [&](uint32_t handle) { return smbus_recv_byte_to_device(handle, &byte); });
    print_value(call, given, byte_text(byte), byte);
}

void read_byte(const invocation &call, const options &given) {
    uint8_t byte = 0;
    on(given.chip, trouble(given, "read"),
       [&](uint32_t handle) { return smbus_read_byte_to_device(handle, given.command, &byte); });
    print_value(call, given, byte_text(byte), byte);
}

void read_word(const invocation &call, const options &given) {
    uint16_t word = 0;
    on(given.chip, trouble(given, "read"),
       [&](uint32_t handle) { return smbus_read_word_to_device(handle, given.command, &word); });
    print_value(call, given, word_text(word), word);
}

void read_block(const invocation &call, const options &given) {
    std::vector<uint8_t> block(given.length);
    on(given.chip, trouble(given, "read"), [&](uint32_t handle) {
        return smbus_read_block_to_device(handle, given.command, static_cast<unsigned int>(block.size()),
                                          block.data());
    });
    print_bytes(call, given, block);
}

void write_byte(const invocation &call, const options &given) {
    const auto byte = static_cast<uint8_t>(given.value);
    confirm_write(call, given, byte_text(byte));
    on(given.chip, trouble(given, "write"),
       [&](uint32_t handle) { return smbus_write_byte_to_device(handle, given.command, byte); });
    if (given.verify) {
        const auto read = [&](uint8_t &found) {
            return smbus_read_byte_to_device(given.chip.handle(), given.command, &found);
        };
        verify(given, byte, read, byte_text);
    }
}

void write_word(const invocation &call, const options &given) {
    const auto word = static_cast<uint16_t>(given.value);
    confirm_write(call, given, word_text(word));
    on(given.chip, trouble(given, "write"),
       [&](uint32_t handle) { return smbus_write_word_to_device(handle, given.command, word); });
    if (given.verify) {
        const auto read = [&](uint16_t &found) {
            return smbus_read_word_to_device(given.chip.handle(), given.command, &found);
        };
        verify(given, word, read, word_text);
    }
}

void write_block(const invocation &call, const options &given) {
    const auto count = static_cast<unsigned int>(given.bytes.size());
    confirm_write(call, given, fmt::format("a block of {}", in_hex(given.bytes)));
    on(given.chip, trouble(given, "write"), [&](uint32_t handle) {
        return smbus_write_block_to_device(handle, given.command, count, given.bytes.data());
    });
    if (given.verify) {
        const auto read = [&](std::vector<uint8_t> &found) {
            return smbus_read_block_to_device(given.chip.handle(), given.command, count, found.data());
        };
        verify(given, given.bytes, read, in_hex);
    }
}

void process_call(const invocation &call, const options &given) {
    const auto word = static_cast<uint16_t>(given.value);
    uint16_t answer = 0;
    confirm_write(call, given, word_text(word));
    on(given.chip, trouble(given, "process call of"),
       [&](uint32_t handle) { return smbus_process_call_to_device(handle, given.command, word, &answer); });
    print_value(call, given, word_text(answer), answer);
}

void block_process_call(const invocation &call, const options &given) {
    if (given.bytes.size() + given.length > longest_block) {
        throw bad_usage(fmt::format("{} bytes to write and {} to read are more than {}", given.bytes.size(),
                                    given.length, longest_block));
    }
    std::vector<uint8_t> answer(given.length);
    confirm_write(call, given, fmt::format("a block of {}", in_hex(given.bytes)));
    on(given.chip, trouble(given, "process call of"), [&](uint32_t handle) {
        return smbus_block_write_block_read_process_call_to_device(
            handle, given.command, static_cast<unsigned int>(given.bytes.size()), given.bytes.data(),
            static_cast<uint8_t>(answer.size()), answer.data());
    });
    print_bytes(call, given, answer);
}

/// One byte alone, or in front of a read, stores nothing: it says where.
void confirm_transfer(const invocation &call, const options &given) {
    if (may_be_eeprom(given.chip) && given.bytes.size() > 1) {
        confirm(call, fmt::format("{}: write {}; chips at 0x50 to 0x57 are EEPROMs, which keep it",
                                  given.chip.name(), in_hex(given.bytes)));
    }
}

void transfer(const invocation &call, const options &given) {
    if (given.bytes.empty() && given.length == 0) {
        throw bad_usage("missing argument: BYTES or --read");
    }
    if (given.bytes.size() > longest_transfer) {
        throw bad_usage(fmt::format("transfer: more than {} bytes", longest_transfer));
    }
    confirm_transfer(call, given);
    std::vector<uint8_t> answer(given.length);
    on(given.chip, "transfer", [&](uint32_t handle) {
        return smbus_flexible_write_read_to_device(handle, 0, static_cast<unsigned int>(given.bytes.size()),
                                                   given.bytes.empty() ? nullptr : given.bytes.data(),
                                                   static_cast<uint8_t>(answer.size()),
                                                   answer.empty() ? nullptr : answer.data());
    });
    if (!answer.empty()) {
        print_bytes(call, given, answer);
    }
}

template <typename Action>
added_verb<options> add_with_command(verbs<options> &smbus, const char *name, const char *description,
                                     Action action) {
    const added_verb<options> verb = smbus.add(name, description, action);
    verb.given.has_command = true;
    add_argument(verb.parser, "REGISTER", verb.given.command, pmbus_command,
                 "command code: 0xe2, 226 or a PMBus name such as STATUS_WORD");
    return verb;
}

argument add_count(const added_verb<options> &verb, const char *name, std::size_t most) {
    return add_argument(
        verb.parser, name, verb.given.length,
        [name, most](const std::string &text) {
            return static_cast<std::size_t>(c_number(text, {1, most}, name));
        },
        "bytes to read", *name == '-' ? "N" : "");
}

void add_block(const added_verb<options> &verb) {
    add_bytes(verb.parser, "BYTES", verb.given.bytes, "the block: up to 32 bytes")
        .required()
        .expected(1, longest_block)
        .option_text("...");
}

void add_writing(const added_verb<options> &verb, invocation &call) {
    add_verify(verb.parser, verb.given.verify);
    add_yes(verb.parser, call);
}

void add_calling(const added_verb<options> &verb, invocation &call) {
    add_json(verb.parser, call);
    add_yes(verb.parser, call);
}

void add_without_command(verbs<options> &smbus, invocation &call) {
    const auto quicker = smbus.add("quick", "Quick command: the address alone", quick);
    quicker.parser.add_flag("--read", quicker.given.read, "with the read bit; default: the write bit");
    const auto sending = smbus.add("send-byte", "Send one byte", send_byte);
    add_number(sending.parser, "BYTE", sending.given.value, UINT8_MAX, "the byte");
    add_json(smbus.add("receive-byte", "Receive one byte", receive_byte).parser, call);
}

void add_readers(verbs<options> &smbus, invocation &call) {
    add_json(add_with_command(smbus, "read-byte", "Read a byte", read_byte).parser, call);
    add_json(add_with_command(smbus, "read-word", "Read a word, low byte first", read_word).parser, call);
    const auto block =
        add_with_command(smbus, "read-block", "Read a block; the chip's own count is not shown", read_block);
    add_count(block, "COUNT", longest_block);
    add_json(block.parser, call);
}

void add_writers(verbs<options> &smbus, invocation &call) {
    const auto byte = add_with_command(smbus, "write-byte", "Write a byte", write_byte);
    add_number(byte.parser, "VALUE", byte.given.value, UINT8_MAX, "the byte");
    add_writing(byte, call);
    const auto word = add_with_command(smbus, "write-word", "Write a word, low byte first", write_word);
    add_number(word.parser, "VALUE", word.given.value, UINT16_MAX, "the word");
    add_writing(word, call);
    const auto block = add_with_command(smbus, "write-block", "Write a block of up to 32 bytes", write_block);
    add_block(block);
    add_writing(block, call);
}

void add_calls(verbs<options> &smbus, invocation &call) {
    const auto word = add_with_command(smbus, "process-call", "Write a word and read one", process_call);
    add_number(word.parser, "VALUE", word.given.value, UINT16_MAX, "the word written");
    add_calling(word, call);
    const auto block = add_with_command(smbus, "block-process-call",
                                        "Write a block and read one, 32 bytes together", block_process_call);
    add_block(block);
    add_count(block, "--read", longest_block - 1).required();
    add_calling(block, call);
    const auto raw =
        smbus.add("transfer", "Write bytes, read bytes, or write then read, without any frame", transfer);
    add_bytes(raw.parser, "BYTES", raw.given.bytes, "bytes to write");
    add_count(raw, "--read", longest_transfer);
    add_calling(raw, call);
}

} // namespace

void add_smbus(argument_parser app, invocation &call) {
    verbs<options> smbus(app, call, "smbus", "SMBus transactions, one each; and raw transfers");
    smbus.family().add_note("Verbs that store something ask for confirmation when the address is 0x50 to "
                            "0x57, where EEPROMs are.");
    add_survey(smbus.family(), call);
    add_without_command(smbus, call);
    add_readers(smbus, call);
    add_writers(smbus, call);
    add_calls(smbus, call);
}

} // namespace varnel::tools
