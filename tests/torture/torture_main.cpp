// Serves every kind of request again and again, and lets the first, the second, the third ...
// request for memory fail, until none is left to fail. After each: the program lives, the client
// has the whole reply, an honest error or a broken connection, nothing is leaked, no lock is held,
// and the next client gets all it asks for.
//
// harbinet_torture [--all] [--trace NUMBER] [PART-OF-A-NAME] : without --all long scenarios are
// sampled; --trace fails only that request and shows the stack of each failure.
#include <openssl/crypto.h>
#include <sanitizer/common_interface_defs.h>
#include <sanitizer/lsan_interface.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "connection.h"
#include "failing_memory.h"
#include "net/net_fixtures.h"
#include "support/reply_text.h"

namespace harbinet::test {
namespace {

// A sample takes each of the first requests, where most differ, and then one of so many.
constexpr std::uint64_t kAllOfTheFirst = 160;
constexpr std::uint64_t kSampleStep = 13;
constexpr unsigned kSecondsForOneRun = 60;
constexpr int kToleratedDeaths = 10;
constexpr int kNoneFailed = 77;  // exit code: the process made fewer requests than that

struct Options {
    bool sample = true;
    std::uint64_t traced = 0;  // the only request that fails; 0 for all in turn
    std::string_view wanted;   // part of a scenario's name
};

// Shared by the process that looks on and the one that runs a scenario and may die of it.
struct Progress {
    std::uint64_t position = 0;
    std::uint64_t runs = 0;
    int failures = 0;
    bool finished = false;
};

// What a run left behind. The texts' memory is taken before the first run: it is part of no count.
struct Outcome {
    Outcome() {
        reply.reserve(2'000'000);
        disk.reserve(4'000'000);
        complaint.reserve(10'000);
    }
    std::string reply;  // without its date
    std::string disk;
    std::string complaint;  // empty when all is well
    std::uint64_t requests = 0;
};

bool IsWhole(std::string_view reply) {
    constexpr std::string_view kLength = "\r\nContent-Length: ";
    const std::size_t head = reply.find("\r\n\r\n");
    const std::size_t length = reply.find(kLength);
    if (head == std::string_view::npos || length > head) return false;
    return reply.size() - head - 4 ==
           std::stoull(std::string(reply.substr(length + kLength.size(), 20)));
}

bool IsNextReply(std::string_view reply) {
    return reply.starts_with("HTTP/1.1 200 OK\r\n") && IsWhole(reply) &&
           reply.find("\r\nSet-Cookie: AUTH=") != std::string_view::npos &&
           reply.ends_with("\r\n\r\n{\"ok\":true}");
}

void RunInSite(const Scenario& scenario, SSL_CTX* context, const Failure& failure,
               Outcome& outcome) {
    FullSite site;
    if (scenario.prepare != nullptr) scenario.prepare(site);
    const std::string request = scenario.request(site);
    ConnectionResult result = Connect(site, context, "::ffff:10.0.0.7", request, scenario.client,
                                      scenario.count_from, failure);
    outcome.requests = result.requests;
    outcome.reply = result.reply.empty() ? "" : WithoutDate(std::move(result.reply));
    outcome.disk = site.Disk();
    outcome.complaint = site.files.open_files == 0 ? "" : "a file is still open; ";
    site.TakeEveryLock();
    const ConnectionResult next = Connect(site, context, "10.0.0.8", NextRequest(),
                                          ClientKind::kOrdinary, CountFrom::kConnection, {});
    if (!IsNextReply(next.reply)) outcome.complaint += "the next request was not answered; ";
}

void Run(const Scenario& scenario, SSL_CTX* context, const Failure& failure, Outcome& outcome) {
    alarm(kSecondsForOneRun);
    const std::size_t before = LiveBlocks();
    RunInSite(scenario, context, failure, outcome);
    const std::size_t after = LiveBlocks();
    if (after != before) {
        outcome.complaint += "blocks of memory before " + std::to_string(before) + ", after " +
                             std::to_string(after) + "; ";
    }
    alarm(0);
}

bool IsExpected(const Scenario& scenario, std::string_view reply) {
    if (scenario.status.empty()) return reply.empty();
    const std::size_t head = reply.find("\r\n\r\n");
    return reply.starts_with(std::string(scenario.status) + "\r\n") && IsWhole(reply) &&
           reply.substr(head + 4).starts_with(scenario.body);
}

// `whole` is the outcome when nothing failed.
void JudgeReply(const Scenario& scenario, const Outcome& whole, Outcome& outcome) {
    const std::string_view reply = outcome.reply;
    if (reply == whole.reply) {
        // A request that was refused or broken off may leave less behind than it would otherwise.
        if (reply.starts_with("HTTP/1.1 200 ") && outcome.disk != whole.disk) {
            outcome.complaint += "an answer that is not true; ";
        }
    } else if (!scenario.instead.empty() && reply.starts_with("HTTP/1.1 413 Error\r\n")) {
        if (IsWhole(reply) && !reply.ends_with(scenario.instead)) {
            outcome.complaint += "another error than expected; ";
        }
    } else if (!whole.reply.starts_with(reply)) {
        outcome.complaint += "a wrong reply: " + std::string(reply.substr(0, 300)) + "; ";
    }
}

void Complain(const Scenario& scenario, std::uint64_t position, const std::string& complaint,
              Progress& progress) {
    // The first ones tell enough.
    if (++progress.failures > kToleratedDeaths) return;
    std::printf("   %s, request for memory %llu: %s\n", scenario.name,
                static_cast<unsigned long long>(position), complaint.c_str());
    std::fflush(stdout);
}

// Moves on to the next request that is to fail.
void Advance(const Options& options, Progress& progress) {
    const bool skips = options.sample && progress.position >= kAllOfTheFirst;
    progress.position += skips ? kSampleStep : 1;
    if (options.traced != 0) progress.position = std::max(progress.position, options.traced);
}

// In a process of its own: what dies, dies alone.
void RunScenario(const Scenario& scenario, SSL_CTX* context, const Options& options,
                 Progress& progress) {
    Outcome whole;
    Outcome outcome;
    // Twice: what OpenSSL makes on first use stays.
    Run(scenario, context, {}, outcome);
    Run(scenario, context, {}, whole);
    if (!IsExpected(scenario, whole.reply) || !whole.complaint.empty()) {
        Complain(scenario, 0,
                 whole.complaint + "undisturbed, the reply is " + whole.reply.substr(0, 300),
                 progress);
        return;
    }
    do {
        Advance(options, progress);
        for (const bool and_all_later : {false, true}) {
            Run(scenario, context, {progress.position, and_all_later}, outcome);
            ++progress.runs;
            JudgeReply(scenario, whole, outcome);
            if (!outcome.complaint.empty()) {
                Complain(scenario, progress.position, outcome.complaint, progress);
            }
        }
    } while (outcome.requests >= progress.position && options.traced == 0);
    if (__lsan_do_recoverable_leak_check() != 0) {
        Complain(scenario, progress.position, "leaks, see above", progress);
    }
}

// The first connection of a process, in which nothing of OpenSSL has been used but what loads the
// certificate. Gives the exit code.
int RunCold(const Scenario& scenario, SSL_CTX* context, Progress& progress) {
    Outcome outcome;
    alarm(kSecondsForOneRun);
    RunInSite(scenario, context, {progress.position, false}, outcome);
    if (IsWhole(outcome.reply) && !IsExpected(scenario, outcome.reply)) {
        outcome.complaint += "a wrong reply: " + outcome.reply.substr(0, 300) + "; ";
    }
    if (!outcome.complaint.empty()) {
        Complain(scenario, progress.position, "cold, " + outcome.complaint, progress);
    }
    return outcome.requests < progress.position ? kNoneFailed : 0;
}

void RunColdScenario(const Scenario& scenario, SSL_CTX* context, const Options& options,
                     Progress& progress) {
    bool more = true;
    while (more) {
        Advance(options, progress);
        const pid_t child = fork();
        if (child == 0) _exit(RunCold(scenario, context, progress));
        int status = 0;
        waitpid(child, &status, 0);
        ++progress.runs;
        const bool ended_well =
            WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == kNoneFailed);
        if (!ended_well) Complain(scenario, progress.position, "cold, the process died", progress);
        more = options.traced == 0 && progress.failures <= kToleratedDeaths &&
               !(WIFEXITED(status) && WEXITSTATUS(status) == kNoneFailed);
    }
}

using Runner = void (*)(const Scenario&, SSL_CTX*, const Options&, Progress&);

bool Passes(const Scenario& scenario, const char* kind, Runner runner, SSL_CTX* context,
            const Options& options, Progress& progress) {
    progress = {};
    for (int deaths = 0; deaths <= kToleratedDeaths; ++deaths) {
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            runner(scenario, context, options, progress);
            progress.finished = true;
            std::fflush(stdout);
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (progress.finished) break;
        const bool hung = WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM;
        Complain(scenario, progress.position, hung ? "the process hung" : "the process died",
                 progress);
    }
    std::printf("%s %s%s: %llu runs\n", progress.failures == 0 ? "ok" : "not ok", scenario.name,
                kind, static_cast<unsigned long long>(progress.runs));
    return progress.failures == 0;
}

// As at a start with a certificate that an earlier one has made: no key is made in this process.
std::shared_ptr<SSL_CTX> LoadContext(const TempFolder& folder) {
    EventLog log;
    if (fork() == 0) _exit(EnsureCertificate(folder.Files(), "127.0.0.1", log) ? 0 : 1);
    int status = 0;
    wait(&status);
    TlsContext context(log);
    if (status != 0 || !context.Ensure(NarrowTlsFiles(folder.Files()))) {
        std::printf("there is no certificate\n");
        std::exit(1);
    }
    return context.Get();
}

int Main(const Options& options) {
    CRYPTO_set_mem_functions(AllocateForOpenSsl, ReallocateForOpenSsl, FreeForOpenSsl);
    if (options.traced != 0) SetFailureHook(__sanitizer_print_stack_trace);
    const TempFolder folder;
    const std::shared_ptr<SSL_CTX> context = LoadContext(folder);
    void* const shared =
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Progress& progress = *::new (shared) Progress;

    int passed = 0;
    int failed = 0;
    const auto run = [&](const Scenario& scenario, const char* kind, Runner runner) {
        ++(Passes(scenario, kind, runner, context.get(), options, progress) ? passed : failed);
    };
    for (const Scenario& scenario : Scenarios()) {
        if (std::string_view(scenario.name).find(options.wanted) == std::string_view::npos)
            continue;
        const bool is_whole_connection = scenario.count_from == CountFrom::kConnection;
        if (is_whole_connection && !scenario.status.empty()) {
            run(scenario, ", the first of all", RunColdScenario);
        }
        run(scenario, "", RunScenario);
    }
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 && passed > 0 ? 0 : 1;
}

}  // namespace
}  // namespace harbinet::test

int main(int argc, char** argv) {
    harbinet::test::Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--all") {
            options.sample = false;
        } else if (argument == "--trace" && i + 1 < argc) {
            options.traced = std::stoull(argv[++i]);
        } else {
            options.wanted = argument;
        }
    }
    return harbinet::test::Main(options);
}
