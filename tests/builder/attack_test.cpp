// Attacks on tables: what each must find, whatever the encoding, and what it must survive.

#include <algorithm>

#include <gtest/gtest.h>

#include "builder/audit/attack.h"
#include "builder/audit/confirm.h"
#include "builder/keys/random.h"
#include "builder/library.h"
#include "builder/tables/aes_tables.h"
#include "builder/tables/sm4_tables.h"
#include "encoded_tables.h"

namespace {

using test::Bytes;
using test::EncodedTables;
using wbtables::AesTablesView;
using wbtables::EncodingKind;
using wbtables::Recovery;
using wbtables::SecretBytes;

struct AttackRow {
    const char *name;
    Recovery (*run)(const AesTablesView &tables);
    bool breaks_encodings;
};
constexpr AttackRow kAttacks[] = {
    {"read-out", wbtables::read_out_aes, false},
    {"structure", wbtables::recover_by_structure, true},
    {"collisions", wbtables::recover_by_collisions, true},
    {"faults", wbtables::recover_by_faults, true},
};

Bytes random_bytes(size_t size) {
    Bytes bytes(size);
    wbtables::fill_random(bytes);
    return bytes;
}

EncodedTables built_tables(const Bytes &key, EncodingKind kind) {
    const auto made = wbtables::make_aes_tables(key, kind);
    const auto copy = [](const SecretBytes &bytes) { return Bytes(bytes.begin(), bytes.end()); };
    return {made.round_count[0], copy(made.xor_table), copy(made.round_tables), copy(made.last_round)};
}

void expect_attacks(const EncodedTables &tables, const Bytes &key, bool encoded) {
    ASSERT_TRUE(wbtables::confirms(tables.view(), key));
    for (const AttackRow &attack : kAttacks) {
        SCOPED_TRACE(testing::Message() << attack.name << ", key " << test::to_hex(key));
        const Recovery recovery = attack.run(tables.view());
        if (attack.breaks_encodings || !encoded) {
            ASSERT_TRUE(recovery.key) << recovery.remark;
            EXPECT_TRUE(std::ranges::equal(*recovery.key, key));
        } else {
            EXPECT_FALSE(recovery.key);
        }
        EXPECT_NE(recovery.key.has_value(), !recovery.remark.empty());
    }
}

TEST(Attacks, FindEveryKeyInEveryEncoding) {
    for (const size_t key_len : {16U, 24U, 32U}) {
        const Bytes key = random_bytes(key_len);
        expect_attacks(built_tables(key, EncodingKind::none), key, false);
        expect_attacks(built_tables(key, wbtables::BuildOptions{}.encoding), key, true);
        for (int i = 0; i < 3; ++i) {
            expect_attacks(test::encoded_tables(key), key, true);
        }
    }
}

TEST(Attacks, ByFaultsNeedFewOfThem) {
    for (const size_t key_len : {16U, 24U, 32U}) {
        const size_t round_keys = key_len == 16 ? 1 : 2;
        const size_t faults = wbtables::recover_by_faults(test::encoded_tables(random_bytes(key_len)).view()).faults;
        EXPECT_GE(faults, 2 * round_keys);
        EXPECT_LE(faults, 4 * round_keys);
    }
}

// Another XOR table makes the cipher another one, but does not hide a round key from who ignores it.
TEST(Attacks, ByCollisionsIgnoreTheXorTable) {
    EncodedTables tables = test::encoded_tables(random_bytes(16));
    std::ranges::fill(tables.xor_table, uint8_t{0});
    EXPECT_EQ(wbtables::recover_by_collisions(tables.view()).remark,
              "the tables do not encrypt under the key that they suggest");
}

TEST(Attacks, SurviveHostileTables) {
    const Bytes key = random_bytes(32);
    const auto damaged = [&](auto damage) {
        EncodedTables tables = test::encoded_tables(key);
        damage(tables);
        return tables;
    };
    const auto all_bytes = [](auto change) {
        return [change](EncodedTables &tables) {
            change(tables.xor_table);
            change(tables.round_tables);
            change(tables.last_round);
        };
    };
    const EncodedTables hostile[] = {
        damaged(all_bytes([](Bytes &bytes) { wbtables::fill_random(bytes); })),
        damaged(all_bytes([](Bytes &bytes) { std::ranges::fill(bytes, uint8_t{0}); })),
        damaged(all_bytes([](Bytes &bytes) { std::ranges::fill(bytes, uint8_t{0xFF}); })),
        damaged(all_bytes([](Bytes &bytes) { bytes.clear(); })),
        damaged([](EncodedTables &tables) { wbtables::fill_random(tables.xor_table); }),
        damaged([](EncodedTables &tables) { std::fill(tables.xor_table.begin() + 16, tables.xor_table.end(), 0xFF); }),
        damaged([](EncodedTables &tables) { wbtables::fill_random(tables.round_tables); }),
        damaged([](EncodedTables &tables) { wbtables::fill_random(tables.last_round); }),
        damaged([](EncodedTables &tables) { tables.rounds = 12; }),
        damaged([](EncodedTables &tables) { tables.rounds = 0; }),
        damaged([](EncodedTables &tables) { tables.last_round.pop_back(); }),
    };
    for (const EncodedTables &tables : hostile) {
        for (const AttackRow &attack : kAttacks) {
            SCOPED_TRACE(testing::Message() << attack.name << ", tables " << &tables - hostile);
            const Recovery recovery = attack.run(tables.view());
            EXPECT_FALSE(recovery.key);
            EXPECT_FALSE(recovery.remark.empty());
        }
        EXPECT_FALSE(wbtables::confirms(tables.view(), key));
    }
}

TEST(Attacks, ReadOutSm4KeysAndNothingElse) {
    const Bytes key = random_bytes(16);
    SecretBytes tables = wbtables::make_sm4_tables(std::span(key).first<16>());
    const Recovery recovery = wbtables::read_out_sm4({"key", tables});
    ASSERT_TRUE(recovery.key) << recovery.remark;
    EXPECT_TRUE(std::ranges::equal(*recovery.key, key));
    EXPECT_TRUE(recovery.remark.empty());

    const auto expect_nothing = [](const SecretBytes &bytes) {
        const Recovery nothing = wbtables::read_out_sm4({"key", bytes});
        EXPECT_FALSE(nothing.key);
        EXPECT_FALSE(nothing.remark.empty());
    };
    for (const size_t lane : {1U, 20U}) { // one that the key is read from, and one that only runs
        SecretBytes damaged = tables;
        std::ranges::reverse(std::span(damaged).subspan(lane * 256, 256));
        expect_nothing(damaged);
    }
    expect_nothing(SecretBytes(tables.size()));
    tables.pop_back();
    expect_nothing(tables);
}

} // namespace
