#include <algorithm>

#include <gtest/gtest.h>

#include "quen/tables.h"
#include "support/captured_log.h"
#include "support/cms_message.h"
#include "support/table_source.h"
#include "support/temp_dir.h"

namespace {

using test::Bytes;
using test::error;
using test::Lines;
using test::Slots;
using test::TableSource;

const Bytes kUntouchedIv(16, 0xee);

struct Entry {
    std::string key_id;
    Bytes content = {};
    Bytes iv = {};
    Bytes aad = {};
    Bytes tag = {};
};

Bytes pack(const Entry &entry, const std::string &key_field) {
    return test::pack_cms({17, 7, test::bytes_of(key_field), entry.aad, entry.tag, entry.iv, entry.content}).message;
}

std::string hex(const Entry &entry) {
    return test::to_hex(pack(entry, test::to_hex(test::bytes_of(entry.key_id))));
}

struct Answer {
    int32_t status;
    Bytes content;
    unsigned length;
    Bytes iv;
};

class EncryptedKey : public testing::Test {
  protected:
    Answer ask(const Slots &slots, const char *key_id) {
        const std::string wbid = "e" + std::to_string(++count_);
        // The library calls itself something else: the file name alone selects it.
        TableSource().header("other", 9).slots("keys", slots).build(dir_.path(), wbid, 1);
        Answer answer{0, Bytes(1100, 0xee), 0xee, kUntouchedIv};
        uint8_t length = 0xee;
        answer.status =
            get_ekey(dir_.string().c_str(), wbid.c_str(), key_id, 1, answer.content.data(), &length, answer.iv.data());
        answer.length = length;
        if (answer.status != 0) {
            EXPECT_EQ(answer.content, Bytes(1100, 0xee));
            EXPECT_EQ(answer.length, 0xeeU);
        }
        return answer;
    }
    test::TempDir dir_;
    test::CapturedLog log_;
    int count_ = 0;
};

TEST_F(EncryptedKey, FirstIdThatBeginsWithTheWantedOneMatches) {
    const Slots slots = {hex({"a", {1}}), hex({"k1x", {2}}), hex({"k1", {3}})};
    EXPECT_EQ(ask(slots, "k1").content[0], 2);
    EXPECT_EQ(ask(slots, "k1x").content[0], 2);
    EXPECT_EQ(ask(slots, "").content[0], 1);
    EXPECT_EQ(log_.take(), Lines{});
    EXPECT_EQ(ask(slots, "k1xx").status, -4);
    EXPECT_EQ(ask({}, "k1").status, -4);
    EXPECT_EQ(ask(slots, nullptr).status, -4);
    const auto line = error("ERR: get_ekeys can't find keyid\n");
    EXPECT_EQ(log_.take(), (Lines{line, line, line}));
}

TEST_F(EncryptedKey, EveryEntryThatWasReadLeavesItsIv) {
    const Bytes iv = test::sample(16);
    const Bytes short_iv = {1, 2, 3};
    EXPECT_EQ(ask({hex({"other", {1}, iv}), hex({"k", {2}})}, "k").iv, iv) << "an entry without iv";
    Bytes mixed = iv;
    std::copy(short_iv.begin(), short_iv.end(), mixed.begin());
    EXPECT_EQ(ask({hex({"other", {1}, iv}), hex({"k", {2}, short_iv})}, "k").iv, mixed);
    EXPECT_EQ(ask({hex({"other", {1}, iv})}, "k").iv, iv) << "also when no entry matches";
    EXPECT_EQ(ask({hex({"k", {1}})}, "k").iv, kUntouchedIv);
    EXPECT_EQ(ask({hex({"k", Bytes(1025), iv})}, "k").iv, kUntouchedIv) << "an entry that fails writes nothing";
}

TEST_F(EncryptedKey, RoomOfEveryField) {
    const std::string id50(50, 'i');
    for (const size_t size : {32U, 300U, 1024U}) {
        const Entry largest{id50, test::sample(size), test::sample(16), test::sample(16), test::sample(16)};
        const Answer answer = ask({{}, {}, hex(largest)}, id50.c_str());
        EXPECT_EQ(answer.status, 0);
        Bytes expected = largest.content;
        expected.resize(answer.content.size(), 0xee);
        EXPECT_EQ(answer.content, expected);
        EXPECT_EQ(answer.length, size % 256) << "the low byte alone";
        EXPECT_EQ(answer.iv, largest.iv);
    }
    EXPECT_EQ(log_.take(), Lines{});

    const Entry too_large[] = {
        {id50 + "i", {1}},
        {"k", Bytes(1025)},
        {"k", {1}, Bytes(17)},
        {"k", {1}, {}, Bytes(17)},
        {"k", {1}, {}, {}, Bytes(17)},
    };
    for (const Entry &entry : too_large) {
        EXPECT_EQ(ask({hex(entry), hex({"k", {1}})}, "k").status, -92);
        EXPECT_EQ(log_.take(), Lines{error("ERR: get_ekey unpack fail:-20005\n")});
    }
    // Fields that are skipped have no room to exceed.
    const std::string unknown = "fa01" + std::string("ac02") + test::to_hex(Bytes(300));
    EXPECT_EQ(ask({hex({"k", {5}}) + unknown}, "k").content[0], 5);
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(EncryptedKey, MalformedEntriesEndTheScan) {
    const std::string good = hex({"k", {1}});
    for (const std::string &bad : {std::string("ff"), std::string("4a20be"), good.substr(0, good.size() - 2),
                                   std::string("zzzz"), std::string("no hex at all")}) {
        SCOPED_TRACE(bad);
        EXPECT_EQ(ask({{}, bad, {}, {}, good}, "k").status, -92);
        EXPECT_EQ(log_.take(), Lines{error("ERR: get_ekey unpack fail:-20005\n")});
    }
    // Behind the match nothing is looked at.
    EXPECT_EQ(ask({good, "ff"}, "k").status, 0);
    // No text is a message without fields, which belongs to no key.
    EXPECT_EQ(ask({"", good}, "k").status, 0);
    // Upper case and an odd last character are hex text too; an odd key field loses its last character.
    std::string upper = good + "4";
    std::ranges::transform(upper, upper.begin(), [](unsigned char c) { return static_cast<char>(toupper(c)); });
    EXPECT_EQ(ask({upper}, "k").status, 0);
    EXPECT_EQ(ask({test::to_hex(pack({"", {7}}, "6b6"))}, "k").content[0], 7);
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(EncryptedKey, NullPointersAreRefusedSilently) {
    uint8_t byte = 0;
    uint8_t iv[16] = {};
    EXPECT_EQ(get_ekey(nullptr, "w", "k", 1, nullptr, &byte, iv), -1);
    EXPECT_EQ(get_ekey(nullptr, "w", "k", 1, &byte, nullptr, iv), -1);
    EXPECT_EQ(get_ekey(nullptr, "w", "k", 1, &byte, &byte, nullptr), -1);
    EXPECT_EQ(log_.take(), Lines{});
}

} // namespace
