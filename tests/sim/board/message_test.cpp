// SPDX-License-Identifier: Apache-2.0
#include "sim/protocol/message.h"

#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/json.h"
#include "sim/protocol/channel.h"

namespace varnel::test {

using namespace sim;
using ::testing::ElementsAre;

TEST(message, transfer_header_has_the_documented_bytes) {
    const transfer_header header{message_kind::write_read, protocol_version, 0x11, 0x58, 0x0102, 0xFFFE};
    const auto bytes = encode(header);
    EXPECT_THAT(bytes, ElementsAre(3, 1, 0x11, 0x58, 0x02, 0x01, 0xFE, 0xFF));
    const auto decoded = decode_transfer(bytes.data());
    EXPECT_EQ(decoded.kind, message_kind::write_read);
    EXPECT_EQ(decoded.version, 1);
    EXPECT_EQ(decoded.adapter, 0x11);
    EXPECT_EQ(decoded.address, 0x58);
    EXPECT_EQ(decoded.write_length, 0x0102);
    EXPECT_EQ(decoded.read_length, 0xFFFE);
}

TEST(message, reply_header_has_the_documented_bytes) {
    const auto bytes = encode(reply_header{message_kind::reply, protocol_version, -1, ETIMEDOUT, 0x0203});
    EXPECT_THAT(bytes, ElementsAre(5, 1, 0x03, 0x02, 0xFF, 0xFF, 0xFF, 0xFF, 110, 0, 0, 0));
    const auto decoded = decode_reply(bytes.data());
    EXPECT_EQ(decoded.kind, message_kind::reply);
    EXPECT_EQ(decoded.result, -1);
    EXPECT_EQ(decoded.error, ETIMEDOUT);
    EXPECT_EQ(decoded.read_length, 0x0203);
}

TEST(message, result_of_65535_is_encoded_without_loss) {
    const auto bytes = encode(reply_header{message_kind::reply, protocol_version, 65535, 0, 65535});
    EXPECT_EQ(decode_reply(bytes.data()).result, 65535);
    EXPECT_EQ(decode_reply(bytes.data()).read_length, 65535);
}

TEST(message, control_message_is_a_kind_byte_and_json) {
    const std::string text = "\x04{\"command\":\"show\"}";
    const auto *const bytes = reinterpret_cast<const uint8_t *>(text.data());
    EXPECT_EQ(parse_control({bytes, text.size()}).at("command"), "show");
    EXPECT_ANY_THROW((void)parse_control({bytes + 1, text.size() - 1}));
    EXPECT_ANY_THROW((void)parse_control({bytes, text.size() - 1}));
    EXPECT_ANY_THROW((void)parse_control({bytes, std::size_t{0}}));
}

} // namespace varnel::test
