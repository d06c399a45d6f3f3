#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <numeric>

#include <fmt/format.h>

#include "builder/audit/report.h"
#include "builder/keys/hex.h"
#include "builder/keys/key_set.h"

namespace wbtables {
namespace {

constexpr const char *kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<style>
:root { --ink: #1c2330; --soft: #5b6472; --paper: #ffffff; --line: #d8dde5; --bar: #7d92b5;
        --bad: #b3261e; --good: #1b6e3c; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e6e9ef; --soft: #a3acba; --paper: #14181f; --line: #343c49; --bar: #6f86ad;
          --bad: #ff8a80; --good: #7fd6a0; }
}
@media print {
  :root { --ink: #000; --soft: #444; --paper: #fff; --line: #bbb; --bar: #777; --bad: #b3261e; --good: #1b6e3c; }
  section { break-inside: avoid-page; }
}
body { max-width: 70rem; margin: 2rem auto; padding: 0 1rem; background: var(--paper); color: var(--ink);
       font: 1rem/1.5 system-ui, sans-serif; }
h1 { font-size: 1.6rem; }
h2 { font-size: 1.25rem; margin-top: 2.5rem; border-top: 1px solid var(--line); padding-top: 1rem; }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .1rem 1rem; }
dt { color: var(--soft); } dd { margin: 0; }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; }
th, td { text-align: left; padding: .3rem .8rem .3rem 0; border-bottom: 1px solid var(--line); vertical-align: top; }
td.number, th.number { text-align: right; }
.summary { border-left: .3rem solid var(--bad); padding: .2rem 1rem; }
.recovered { color: var(--bad); font-weight: 600; } .kept { color: var(--good); }
.remark { color: var(--soft); } code { font-size: .9em; overflow-wrap: anywhere; }
.bytes { display: grid; grid-template-columns: repeat(auto-fill, minmax(16rem, 1fr)); gap: 1rem; }
figure { margin: 0; } figcaption { font-size: .85rem; color: var(--soft); }
svg { width: 100%; height: auto; display: block; border-bottom: 1px solid var(--line); }
.bar { fill: var(--bar); } .right { fill: var(--bad); } .mark { stroke: var(--bad); stroke-dasharray: 4; }
</style>
)";

std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : without_controls(text)) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

class Page {
  public:
    explicit Page(const ReportOptions &options) : options_(options) {}

    void begin(const LibraryAudit &audit) {
        const std::string name = escaped(audit.file);
        text_ += kHead;
        append("<title>Audit of {0}</title>\n</head>\n<body>\n<h1>Audit of <code>{0}</code></h1>\n", name);
        append("<dl>");
        add_term("wbid", escaped(audit.wbid));
        add_term("version", escaped(audit.version));
        add_term("ABI", escaped(audit.abi));
        add_term("encoding", escaped(audit.encoding));
        append("</dl>\n");
    }

    void add_summary(const LibraryAudit &audit) {
        const auto recovered = std::count_if(audit.keys.begin(), audit.keys.end(), was_recovered);
        append("<section>\n<h2>Summary</h2>\n<div class=\"summary\">\n");
        if (const std::string warning = plain_tables_warning(audit); !warning.empty()) {
            append("<p class=\"recovered\">Warning: {}</p>\n", escaped(warning));
        }
        append("<p><strong>{} of {} keys were recovered</strong> from this file alone, knowing nothing but its "
               "format.</p>\n",
               recovered, audit.keys.size() + audit.unreadable_keys.size());
        for (const std::string &id : audit.unreadable_keys) {
            append("<p class=\"recovered\">Key <code>{}</code>: its tables cannot be read.</p>\n", escaped(id));
        }
        for (const std::string_view paragraph : kStatement) {
            append("<p>{}</p>\n", escaped(paragraph));
        }
        append("</div>\n");
        for (const std::string &problem : audit.problems) {
            append("<p class=\"recovered\">Problem: {}</p>\n", escaped(problem));
        }
        append("</section>\n");
    }

    void add_key(const KeyAudit &key) {
        append("<section>\n<h2>Key <code>{}</code>, {}</h2>\n", escaped(key.key_id), escaped(key.cipher));
        append("<div class=\"scroll\"><table>\n<thead><tr><th>attack</th><th>result</th><th class=\"number\">CPU time"
               "</th><th class=\"number\">needed</th><th>fingerprint of the key</th></tr></thead>\n<tbody>\n");
        for (const AttackResult &attack : key.attacks) {
            add_attack(attack);
        }
        append("</tbody>\n</table></div>\n");
        if (!is_conclusive(key)) {
            append("<p>These tables are of another make, or this audit is at fault. It does not mean that they are "
                   "safe.</p>\n");
        }
        append("</section>\n");
        if (!key.bytes.empty()) {
            add_bars(key);
        }
    }

    std::string end() {
        text_ += "</body>\n</html>\n";
        return std::move(text_);
    }

  private:
    template <typename... Args>
    void append(fmt::format_string<Args...> format, Args &&...args) {
        fmt::format_to(std::back_inserter(text_), format, std::forward<Args>(args)...);
    }

    void add_term(std::string_view term, std::string_view value) {
        append("<dt>{}</dt><dd>{}</dd>", term, value.empty() ? "unknown" : value);
    }

    void add_attack(const AttackResult &attack) {
        append("<tr><td>{}</td><td><span class=\"{}\">{}</span>", attack.attack,
               attack.succeeded ? "recovered" : "kept", outcome_of(attack));
        if (!attack.remark.empty()) {
            append("<br><span class=\"remark\">{}</span>", escaped(attack.remark));
        }
        append("</td><td class=\"number\">{:.1f} ms</td>", attack.cpu_seconds * 1e3);
        append("<td class=\"number\">{}</td><td><code>{}</code>",
               attack.needed == 0 ? "the tables" : fmt::format("{} {}", attack.needed, attack.needed_what),
               attack.fingerprint);
        if (options_.show_secrets && !attack.key.empty()) {
            const SecretBytes hex = to_hex(attack.key);
            append("<br><code>{}</code>", as_text(hex));
        }
        append("</td></tr>\n");
    }

    void add_bars(const KeyAudit &key) {
        append(
            "<section>\n<h3>Correlation with {} simulated traces</h3>\n<p>For each byte of the first round key the "
            "256 guesses, by falling height of their highest peak; all bars have one scale. The right guess is "
            "marked: at the left end an attack on the highest peak finds it, at the right end one on the lowest, and "
            "in between neither.</p>\n<div class=\"bytes\">\n",
            key.traces);
        double scale = 0;
        for (const ByteCorrelation &byte : key.bytes) {
            scale = std::max(scale, *std::max_element(byte.peaks.begin(), byte.peaks.end()));
        }
        for (std::size_t i = 0; i < key.bytes.size(); ++i) {
            add_byte(i, key.bytes[i], scale);
        }
        append("</div>\n</section>\n");
    }

    void add_byte(std::size_t index, const ByteCorrelation &byte, double scale) {
        std::vector<std::size_t> guesses(byte.peaks.size());
        std::iota(guesses.begin(), guesses.end(), std::size_t{0});
        // Equal peaks keep no order of the guesses that would tell the right one: it comes last among them.
        std::sort(guesses.begin(), guesses.end(), [&byte](std::size_t a, std::size_t b) {
            return byte.peaks[a] != byte.peaks[b] ? byte.peaks[a] > byte.peaks[b] : a != byte.right && b == byte.right;
        });
        std::string bars;
        std::string right;
        std::string mark;
        for (std::size_t place = 0; place < guesses.size(); ++place) {
            const bool is_right = guesses[place] == byte.right;
            (is_right ? right : bars) += bar(place, byte.peaks[guesses[place]], scale);
            mark += is_right ? fmt::format("m{} 0v{}", 2 * place + 1, kHeight) : "";
        }
        append("<figure><svg viewBox=\"0 0 512 {}\" role=\"img\" aria-label=\"byte {}\"><path class=\"bar\" d=\"{}\"/>"
               "<path class=\"mark\" d=\"{}\"/><path class=\"right\" d=\"{}\"/></svg>\n<figcaption>byte {}: "
               "{}</figcaption></figure>\n",
               kHeight, index, bars, mark, right, index,
               byte.right ? fmt::format("the right guess has place {} of {}, peak {:.3f}", rank_of_right(byte),
                                        byte.peaks.size(), byte.peaks[*byte.right])
                          : std::string("the right guess is not known"));
    }

    static std::string bar(std::size_t place, double peak, double scale) {
        const long height = scale > 0 ? std::lround(peak / scale * kHeight) : 0;
        return fmt::format("M{} {}h2v{}h-2z", 2 * place, kHeight, -height);
    }

    static constexpr int kHeight = 96;

    const ReportOptions &options_;
    std::string text_;
};

} // namespace

std::string audit_page(const LibraryAudit &audit, const ReportOptions &options) {
    Page page(options);
    page.begin(audit);
    page.add_summary(audit);
    for (const KeyAudit &key : audit.keys) {
        page.add_key(key);
    }
    return page.end();
}

} // namespace wbtables
