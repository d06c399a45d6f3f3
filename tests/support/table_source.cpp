#include "support/table_source.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "support/captured_log.h"

namespace test {
namespace {

constexpr const char *kPointer = sizeof(void *) == 8 ? "\n.8byte " : "\n.4byte ";

std::string byte_list(const Bytes &value) {
    std::ostringstream out;
    for (size_t i = 0; i < value.size(); ++i) {
        out << (i % 64 == 0 ? "\n.byte " : ",") << static_cast<unsigned>(value[i]);
    }
    return out.str();
}

Bytes terminated(const std::string &text) {
    Bytes bytes = bytes_of(text);
    bytes.push_back(0);
    return bytes;
}

} // namespace

TableSource &TableSource::set(const std::string &name, const std::string &body) {
    without(name);
    symbols_.push_back({name, body});
    return *this;
}

TableSource &TableSource::without(const std::string &symbol) {
    std::erase_if(symbols_, [&](const Symbol &each) { return each.name == symbol; });
    return *this;
}

TableSource &TableSource::bytes(const std::string &symbol, const Bytes &value) {
    return set(symbol, byte_list(value));
}

TableSource &TableSource::text(const std::string &symbol, const std::string &value) {
    if (symbol == "sk" || symbol == "ak") {
        keep_secret(bytes_of(value));
    }
    return bytes(symbol, terminated(value));
}

TableSource &TableSource::number(const std::string &symbol, int32_t value) {
    return set(symbol, "\n.4byte " + std::to_string(value));
}

TableSource &TableSource::slots(const std::string &symbol, const Slots &values) {
    std::string pointers;
    std::string texts;
    for (size_t i = 0; i < 10; ++i) {
        if (i < values.size() && values[i]) {
            const std::string label = ".Ltext_" + symbol + std::to_string(i);
            pointers += kPointer + label;
            texts += "\n" + label + ":" + byte_list(terminated(*values[i]));
        } else {
            pointers += kPointer + std::string("0");
        }
    }
    return set(symbol, pointers + texts);
}

TableSource &TableSource::header(const std::string &wbid, int32_t version) {
    return text("wbid", wbid).number("version", version).slots("sm4_keyids", {}).slots("aes_keyids", {});
}

TableSource &TableSource::aes_tables(const std::string &key_id, const Bytes &key) {
    keep_secret(key);
    const AesTables tables = fold_aes_key(key);
    return number("Nr_" + key_id, tables.round_count)
        .bytes("Xor_" + key_id, tables.xor_table)
        .bytes("Tyboxes" + std::to_string(8 * key.size()) + "_" + key_id, tables.round_tables)
        .bytes("TboxesLast_" + key_id, tables.last_round);
}

TableSource &TableSource::sm4_table(const std::string &key_id) {
    return bytes("table_" + key_id, Bytes(32 * 4 * 256));
}

std::filesystem::path TableSource::build(const std::filesystem::path &dir, const std::string &wbid,
                                         int32_t version) const {
    const std::filesystem::path library = dir / ("libwb_tables_" + wbid + "_" + std::to_string(version) + ".so");
    const std::filesystem::path source = dir / "tables.s";
    std::ofstream out(source);
    out << ".section .data.rel.ro,\"aw\"\n";
    for (const Symbol &symbol : symbols_) {
        out << ".balign 16\n.globl \"" << symbol.name << "\"\n.type \"" << symbol.name << "\",%object\n\""
            << symbol.name << "\":" << symbol.body << "\n.size \"" << symbol.name << "\", .-\"" << symbol.name
            << "\"\n";
    }
#ifdef __ARM_PCS_VFP
    out << ".eabi_attribute Tag_ABI_VFP_args, 1\n"; // this system's loader refuses libraries without it
#endif
    out << ".section .note.GNU-stack,\"\",%progbits\n";
    out.close();
    const std::string command = std::string(WBKIT_TEST_CC) + " -shared -nostdlib -Wl,-soname," +
                                library.filename().string() + " -o '" + library.string() + "' '" + source.string() +
                                "'";
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("cannot compile " + library.string());
    }
    return library;
}

} // namespace test
