#include "builder/commands/token.h"

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "builder/commands/json.h"
#include "builder/error.h"
#include "builder/keys/caller_token.h"
#include "builder/keys/hex.h"
#include "builder/keys/key_set.h"
#include "builder/keys/rules.h"
#include "builder/manifest/secret_source.h"

namespace wbtables {
namespace {

struct TokenCommand {
    std::string wbid;
    std::string appid;
    std::string sk;
    bool json = false;
};

constexpr const char *kHelp =
    R"(A caller's token is HMAC-SHA256 of the wbid followed by the appid, under sk. An application passes its 32
bytes, not the hex text, as the first argument of every native that uses a key. Whoever has it may use the keys: treat
it like sk.

sk comes from file:PATH (mode 600), fd:N or - (standard input), without the newline at its end.

Example: wbtables token --wbid demo --appid com.example.demo --sk file:secrets/sk
prints   the token as 64 hex digits

Exit status: 0 done; 1 a name or sk is refused; 2 wrong usage; 4 memory ran out, or standard output cannot be written.
)";

SecretBytes read_sk(const std::string &source) {
    // What stands there may be the secret itself, so it is not repeated.
    if (source != "-" && !source.starts_with("file:") && !source.starts_with("fd:")) {
        throw Error(Failure::refused, "--sk must be file:PATH, fd:N or -");
    }
    try {
        return SecretSource(source, SecretForm::text, 0, false).read(".");
    } catch (const SourceError &error) {
        throw Error(Failure::refused, fmt::format("--sk {}", error.what()));
    }
}

void run_token(const TokenCommand &command) {
    KeySet set;
    set.wbid = command.wbid;
    set.appid = command.appid;
    set.sk = read_sk(command.sk);
    refuse(caller_problems(set));
    const SecretBytes hex = to_hex(caller_token(set.wbid, set.appid, set.sk));
    const std::string_view text = as_text(hex);
    if (command.json) {
        const nlohmann::ordered_json document = {{"wbid", set.wbid}, {"appid", set.appid}, {"token", text}};
        print_json(document);
    } else {
        fmt::print("{}\n", text);
    }
}

} // namespace

void add_token_command(CLI::App &app, std::function<void()> &run) {
    const auto command = std::make_shared<TokenCommand>();
    CLI::App *const token = app.add_subcommand("token", "Compute the token that an application presents");
    token->add_option("--wbid", command->wbid, "the table library's wbid")->type_name("TEXT")->required();
    token->add_option("--appid", command->appid, "the table library's application id")->type_name("TEXT")->required();
    token->add_option("--sk", command->sk, "where the table library's sk comes from")->type_name("SOURCE")->required();
    token->add_flag("--json", command->json, "print it as JSON, with the names it is for");
    token->footer(kHelp);
    token->callback([command, &run] { run = [command] { run_token(*command); }; });
}

} // namespace wbtables
