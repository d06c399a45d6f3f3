// 32 threads at once: as the first to use anything, over every operation and two table libraries, and when refused.

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <latch>
#include <thread>

#include "natives_table.h"
#include "quen/wbkit.h"
#include "support/cms_message.h"
#include "support/loaded_library.h"
#include "support/mode_functions.h"
#include "support/temp_dir.h"

namespace test {
namespace {

constexpr size_t kThreads = 32;

// Calls `work` with the number of each thread, as much at the same time as can be.
void on_all_threads(const std::function<void(size_t thread)> &work) {
    std::latch start(kThreads);
    std::vector<std::jthread> threads;
    for (size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            work(i);
        });
    }
}

// Where a table library is: `dir` is null if it is loaded.
struct Place {
    const char *dir;
    const char *wbid;
};

// What an operation stored, one after the other.
class Results {
  public:
    template <typename T>
    Results &operator<<(const T &value) {
        const auto *bytes = reinterpret_cast<const uint8_t *>(&value);
        bytes_.insert(bytes_.end(), bytes, bytes + sizeof value);
        return *this;
    }
    Results &operator<<(const char *text) {
        bytes_.insert(bytes_.end(), text, text + strlen(text));
        return *this;
    }
    operator Bytes() const { return bytes_; }

  private:
    Bytes bytes_;
};

const Bytes kIv = sample(16, 9);
const Bytes kBlock = sample(16, 8);

template <auto Function, int32_t padding = 0>
Bytes stream(const Place &at, const Bytes &text) {
    constexpr bool aes = std::is_same_v<decltype(Function), decltype(&aes_WBkit_encrypt_cfb)>;
    Bytes out(text.size() + 16);
    int64_t len = 0;
    EXPECT_EQ(mode<Function>(at.dir, kIv.data(), text.data(), text.size(), out.data(), &len, padding, at.wbid,
                             aes ? "k" : "s", kNativesVersion),
              0);
    out.resize(static_cast<size_t>(len));
    return out;
}

// Its filler comes from the C library's random numbers, the one state that calls share.
template <auto Encrypt, auto Decrypt>
Bytes randomly_padded(const Place &at, const Bytes &text) {
    return stream<Decrypt, 2>(at, stream<Encrypt, 2>(at, text));
}

Bytes gcm(const Place &at, const Bytes &text) {
    Bytes out(text.size() + 16);
    Bytes tag(16);
    int64_t len = 0;
    EXPECT_EQ(wb_aes_gcm_encrypt(at.dir, text.data(), text.size(), kIv.data(), 12, kBlock.data(), 16, tag.data(), 16,
                                 out.data(), &len, at.wbid, "k", kNativesVersion),
              0);
    return out;
}

template <auto Function>
Bytes gcm_tag(const Place &at, const Bytes &text) {
    Bytes j0(16);
    Bytes tag(16);
    aes_gcm_prepare_j0(text.data(), text.size(), kBlock.data(), j0.data());
    EXPECT_EQ(Function(at.dir, text.data(), text.size(), kIv.data(), kIv.size(), kBlock.data(), j0.data(), tag.data(),
                       at.wbid, Function == aes_gcm_create_tag ? "k" : "s", kNativesVersion),
              0);
    return tag;
}

Bytes single_blocks(const Place &at, const Bytes & /*text*/) {
    Bytes block = kBlock;
    const tb_entry aes = get_tb_entry(at.dir, at.wbid, "k", kNativesVersion);
    const tb_entry sm4 = get_tb_entry(at.dir, at.wbid, "s", kNativesVersion);
    Cipher(block.data(), aes);
    wbsm4(block.data(), block.data(), sm4);
    return block;
}

Bytes signed_text(const Place &at, const Bytes &text) {
    Bytes mac(32);
    uint32_t len = 0;
    EXPECT_EQ(signature(at.dir, text.data(), text.size(), at.wbid, "k", kNativesVersion, mac.data(), &len), 0);
    EXPECT_EQ(verify(at.dir, mac.data(), 32, text.data(), text.size(), at.wbid, "k", kNativesVersion), 0);
    return mac;
}

Bytes encrypted_key(const Place &at, const Bytes & /*text*/) {
    Bytes out(1024);
    uint8_t len = 0;
    Bytes iv(16);
    EXPECT_EQ(get_ekey(at.dir, at.wbid, "s", kNativesVersion, out.data(), &len, iv.data()), 0);
    return out + Bytes{len} + iv;
}

Bytes metadata(const Place &at, const Bytes & /*text*/) {
    const tb_common common = get_tb_common(at.dir, at.wbid, kNativesVersion);
    void *handle = get_so_handle(at.dir, at.wbid, kNativesVersion);
    char sk[100] = {};
    uint64_t sk_len = 0;
    return Results() << common.keyids << common.appid << common.whitelist << check_keyid_alg(handle, "k")
                     << check_keyid_alg(handle, "s") << get_aes_alg(at.dir, at.wbid, "k", kNativesVersion)
                     << get_sk_without_ak(at.dir, at.wbid, kNativesVersion)
                     << get_sk(at.dir, kNativesAk.c_str(), at.wbid, kNativesVersion, sk, &sk_len) << sk << sk_len;
}

Bytes packed(const Place & /*at*/, const Bytes &text) {
    const Bytes message = pack_cms({6, 8, kBlock, kIv, kBlock, kIv, text}).message;
    EXPECT_EQ(unpack_cms(message).fields.content, text);
    return message;
}

// Every exported function that takes a key or a table library; the others come in on the way.
constexpr Bytes (*kOperations[])(const Place &at, const Bytes &text) = {
    stream<aes_WBkit_encrypt_cfb>,
    stream<aes_WBkit_encrypt_ofb>,
    stream<aes_WBkit_encrypt_ctr>,
    stream<wbsm4_cfb_encrypt>,
    stream<wbsm4_ofb_encrypt>,
    stream<wbsm4_ctr_encrypt>,
    stream<aes_WBkit_decrypt_cfb>,
    stream<aes_WBkit_decrypt_ofb>,
    stream<aes_WBkit_decrypt_ctr>,
    stream<wbsm4_cfb_decrypt>,
    stream<wbsm4_ofb_decrypt>,
    stream<wbsm4_ctr_decrypt>,
    randomly_padded<aes_WBkit_encrypt_ctr, aes_WBkit_decrypt_ctr>,
    randomly_padded<wbsm4_cfb_encrypt, wbsm4_cfb_decrypt>,
    gcm,
    gcm_tag<aes_gcm_create_tag>,
    gcm_tag<sm4_gcm_create_tag>,
    single_blocks,
    signed_text,
    encrypted_key,
    metadata,
    packed,
};

// Stands first: until now, no kernel was asked for in this process, and none of these libraries was open.
TEST(Threads, MayAllBeTheFirst) {
    constexpr size_t kCopies = std::size(kOperations);
    const TempDir dir;
    const auto file = natives_library("first").build(dir.path(), "first", kNativesVersion);
    const Bytes text = sample(3000);
    for (size_t copy = 0; copy < kCopies; ++copy) {
        const auto folder = dir.path() / std::to_string(copy);
        std::filesystem::create_directory(folder);
        std::filesystem::copy_file(file, folder / file.filename());
        const Place place{folder.c_str(), "first"};
        const auto operation = [&](size_t thread) { return kOperations[(thread + copy) % std::size(kOperations)]; };
        std::vector<Bytes> results(kThreads);
        on_all_threads([&](size_t thread) { results[thread] = operation(thread)(place, text); });
        for (size_t thread = 0; thread < kThreads; ++thread) {
            EXPECT_EQ(results[thread], operation(thread)(place, text)) << "copy " << copy << ", thread " << thread;
        }
    }
}

// What a thread calls again and again, and what came of it when it was alone.
struct Calls {
    struct Native {
        const NativeRow *row;
        Arguments arguments;
        Answer alone;
    };
    Place place;
    Bytes text;
    std::vector<Native> natives;
    std::vector<Bytes> operations;

    Calls(const char *wbid, size_t thread) : place{nullptr, wbid}, text(sample(100 + 50 * thread)) {
        for (const NativeRow &row : test::natives()) {
            const Arguments arguments = good_arguments(row, text, 16, wbid);
            const Answer alone = row.expected(arguments);
            EXPECT_NE(alone, row.refusal()) << row.op;
            natives.push_back({&row, arguments, alone});
        }
        for (const auto &operation : kOperations) {
            operations.push_back(operation(place, text));
        }
    }

    // No two threads begin with the same. The log is not asked: its lock would put the threads in order.
    void repeat(size_t thread) const {
        for (size_t i = 0; i < natives.size(); ++i) {
            const Native &native = natives[(i + thread) % natives.size()];
            FakeJni jni;
            EXPECT_EQ((*native.row)(jni, native.arguments), native.alone) << native.row->op;
            EXPECT_EQ(native.row->run_function(native.arguments), native.alone) << native.row->op;
            const size_t operation = (i + thread) % operations.size();
            EXPECT_EQ(kOperations[operation](place, text), operations[operation]) << "operation " << operation;
        }
    }
};

TEST(Threads, DoNotDisturbEachOther) {
    constexpr int kRounds = 3;
    CapturedLog log;
    const LoadedLibrary left(natives_library("left"), "left", kNativesVersion);
    const LoadedLibrary right(natives_library("right") // whose keys are others
                                  .aes_tables("k", sample(32, 21))
                                  .bytes("table_s", sample(32 * 4 * 256, 22)),
                              "right", kNativesVersion);
    std::vector<Calls> calls;
    for (size_t thread = 0; thread < kThreads; ++thread) {
        calls.emplace_back(thread % 2 == 0 ? "left" : "right", thread);
    }
    on_all_threads([&](size_t thread) {
        for (int round = 0; round < kRounds; ++round) {
            calls[thread].repeat(thread);
        }
    });
    EXPECT_EQ(log.take(), Lines{});
}

TEST(Threads, AreToldTheirOwnReason) {
    constexpr size_t kTimes = 20;
    CapturedLog log;
    on_all_threads([](size_t thread) {
        const std::string wbid = "absent" + std::to_string(thread) + "-";
        for (size_t i = 0; i < kTimes; ++i) {
            EXPECT_EQ(get_tb_entry(nullptr, wbid.c_str(), "k", kNativesVersion).status, -70);
        }
    });
    const Lines lines = log.take();
    EXPECT_EQ(lines.size(), kThreads * kTimes);
    for (size_t thread = 0; thread < kThreads; ++thread) {
        const std::string own = "open error:libwb_tables_absent" + std::to_string(thread) + "-_";
        EXPECT_EQ(std::ranges::count_if(lines, [&](const LogLine &line) { return line.text.starts_with(own); }), kTimes)
            << own;
    }
}

} // namespace
} // namespace test
