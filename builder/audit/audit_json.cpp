#include <algorithm>

#include "builder/audit/report.h"
#include "builder/json_text.h"
#include "builder/keys/hex.h"

namespace wbtables {
namespace {

using nlohmann::ordered_json;

ordered_json json_of(const AttackResult &attack, const ReportOptions &options) {
    ordered_json json = {{"attack", attack.attack},
                         {"succeeded", attack.succeeded},
                         {"cpu_seconds", attack.cpu_seconds},
                         {"remark", attack.remark}};
    if (attack.needed != 0) {
        json[std::string(attack.needed_what)] = attack.needed;
    }
    if (!attack.fingerprint.empty()) {
        json["fingerprint"] = attack.fingerprint;
    }
    if (options.show_secrets && !attack.key.empty()) {
        const SecretBytes hex = to_hex(attack.key);
        json["key"] = as_text(hex);
    }
    return json;
}

ordered_json json_of(const ByteCorrelation &byte) {
    const auto [lowest, highest] = std::minmax_element(byte.peaks.begin(), byte.peaks.end());
    ordered_json json = {{"lowest_peak", *lowest}, {"highest_peak", *highest}};
    if (byte.right) {
        json["right_peak"] = byte.peaks[*byte.right];
        json["right_rank"] = rank_of_right(byte);
    }
    return json;
}

ordered_json json_of(const KeyAudit &key, const ReportOptions &options) {
    ordered_json json = {{"id", key.key_id},
                         {"cipher", key.cipher},
                         {"conclusive", is_conclusive(key)},
                         {"plain_xor_table", key.plain_xor_table}};
    for (const AttackResult &attack : key.attacks) {
        json["attacks"].push_back(json_of(attack, options));
    }
    for (const ByteCorrelation &byte : key.bytes) {
        json["correlation"]["bytes"].push_back(json_of(byte));
    }
    if (!key.bytes.empty()) {
        json["correlation"]["traces"] = key.traces;
    }
    return json;
}

} // namespace

std::string audit_json(const LibraryAudit &audit, const ReportOptions &options) {
    ordered_json json = {{"file", audit.file},
                         {"wbid", audit.wbid},
                         {"version", audit.version},
                         {"abi", audit.abi},
                         {"encoding", audit.encoding},
                         {"problems", audit.problems},
                         {"unreadable_keys", audit.unreadable_keys},
                         {"keys", ordered_json::array()}};
    for (const KeyAudit &key : audit.keys) {
        json["keys"].push_back(json_of(key, options));
    }
    return json_text(json);
}

} // namespace wbtables
