// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/loop.h"

#include "tests/faults/bus_thread.h"
#include "tests/faults/policies.h"
#include "tests/faults/scripted_bus.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <libxml/xmlerror.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <new>
#include <ostream>

namespace tresk::test {

namespace {

using std::chrono::milliseconds;

// --- what GLib and libxml2 do by themselves ---

/// GLib ends the process: its words on standard error, and what it lacked.
struct GlibEnding {
    const char* words;
    const char* lacked;
};

constexpr GlibEnding kGlibEndings[] = {
    {"gmem.c", "memory"},
    {"gprintf.c", "memory"},
    {"GSlice: failed to allocate", "memory"},
    {"Unexpected error from C library during 'malloc'", "memory"},
    {"Creating pipes for GWakeup", "descriptors"},
    {"Error creating thread", "a thread"},
};

/// What a library that is called leaves behind where it is refused memory, in blocks a call.
struct KnownLeak {
    const char* site;
    long blocks;
};

constexpr KnownLeak kKnownLeaks[] = {
    // Its decompressing file reader keeps two buffers where zlib's state finds no memory.
    {"xmlCtxtReadFile", 2},
    // How much depends on the configuration that it read so far.
    {"kmod_new", 1000},
};

/// GLib says this and loses the error, which has two blocks, where a new socket's flags cannot be set.
constexpr char kLostError[] = "Error setting socket nonblocking";
constexpr long kLostErrorBlocks = 2;

/// GLib may lose its watch of a connection, in two blocks, where the calling thread is stopped for a moment
/// on its way out of g_cancellable_cancel() while the bus thread ends that watch: a chance that a loaded
/// machine gives.
constexpr long kLostWatchBlocks = 2;

// --- between a child and its parent ---

struct Shared {
    FaultOrder order;
    std::atomic<long> number = 0; ///< of the fault
    std::atomic<long> steps = 0;  ///< shows that the child is not stuck
    std::atomic<bool> finished = false;
    long failed = 0;
    long complete = 0;
    Refusals refusals;
    std::array<char, 1024> complaint{};
};

Shared& shared()
{
    static Shared* memory = [] {
        void* made =
            ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        return new (made) Shared();
    }();
    return *memory;
}

/// What children write to standard error; in memory.
int errors()
{
    static const int file = ::memfd_create("errors", MFD_CLOEXEC);
    return file;
}

std::string said_by_child()
{
    std::array<char, 2000> text{};
    const off_t end = ::lseek(errors(), 0, SEEK_END);
    const off_t begin = std::max<off_t>(0, end - static_cast<off_t>(text.size()));
    const ssize_t length = ::pread(errors(), text.data(), text.size(), begin);
    return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(0, length))};
}

// --- in a child ---

[[noreturn, gnu::format(printf, 1, 2)]] void complain(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(shared().complaint.data(), shared().complaint.size(), format, arguments);
    va_end(arguments);
    ::_exit(EXIT_FAILURE);
}

/// How many, of those that a test may reach. lseek() is none of the calls that the parent is asked about.
long open_descriptors()
{
    constexpr int highest = 127;
    long open = 0;
    for (int number = 0; number <= highest; ++number) {
        open += ::lseek(number, 0, SEEK_CUR) >= 0 || errno != EBADF ? 1 : 0;
    }
    return open;
}

/// GLib's bus thread lets go of a connection a moment after the last reference went.
template <class Predicate>
bool eventually(Predicate holds, milliseconds patience)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + patience;
    while (!holds()) {
        if (Clock::now() >= deadline) {
            return false;
        }
        constexpr timespec pause = {0, 200'000};
        ::nanosleep(&pause, nullptr);
    }
    return true;
}

class Child {
  public:
    Child(const Entry& entry, const Plan& plan) : row_(*entry.row), plan_(plan) {}

    [[noreturn]] void run(long first)
    {
        warm_up();
        if (plan_.fault != nullptr) {
            ask_parent(shared().order);
        }
        long made = 0;
        for (long number = first; made < plan_.most; number += plan_.stride, ++made) {
            shared().number = number;
            if (!survive(number)) {
                break;
            }
            if (plan_.cold) {
                ::_exit(EXIT_SUCCESS);
            }
        }
        shared().finished = true;
        ::_exit(EXIT_SUCCESS);
    }

    [[noreturn]] void count()
    {
        warm_up();
        ask_parent(shared().order);
        shared().order.counting = true;
        expect_work("where its system calls are counted");
        shared().order.counting = false;
        ::_exit(EXIT_SUCCESS);
    }

  private:
    /// What libraries keep for ever is there then.
    void warm_up()
    {
        for (int call = 0; call < 2 && !plan_.cold; ++call) {
            expect_work("before the first fault");
        }
        if (!row_.methods.empty() && !plan_.cold && memory_is_watched()) {
            bus_thread_.emplace();
        }
    }

    void prepare() const
    {
        ++shared().steps;
        if (plan_.policies == Policies::missing) {
            remove_policies();
        }
        if (row_.prepare != nullptr) {
            row_.prepare();
        }
    }

    /// Nothing that only the records of the calls hold.
    static void forget()
    {
        framework().reset();
        xmlResetLastError();
    }

    [[nodiscard]] Came wanted() const
    {
        return plan_.policies == Policies::missing ? Came::failed : Came::complete;
    }

    void expect_work(const char* when) const
    {
        prepare();
        const Came came = row_.call();
        if (came != wanted()) {
            complain("does not work %s: %s", when, said_by_library().c_str());
        }
        forget();
    }

    /// The latest line of its log.
    static std::string said_by_library()
    {
        return framework().logs.empty() ? "it says nothing" : framework().logs.back().text;
    }

    void begin(long number) const
    {
        if (plan_.fault != nullptr) {
            shared().order.begin(*plan_.fault, number, plan_.stays);
        } else {
            begin_refusing(number, plan_.stays, plan_.requests, shared().refusals);
        }
    }

    [[nodiscard]] bool end() const { return plan_.fault != nullptr ? shared().order.end() : end_refusing(); }

    /// One call with the fault; false where it met none.
    bool attempt(long number)
    {
        prepare();
        begin(number);
        errno = 0;
        const Came came = row_.call();
        const int cause = errno;
        const bool met = end();
        forget();
        judge(came, cause, met);
        return met;
    }

    void judge(Came came, int cause, bool met)
    {
        const bool failed = came == Came::failed;
        if (!met && came != wanted()) {
            complain("does not work where the call met no fault: %s", said_by_child().c_str());
        }
        if (came == Came::neither) {
            complain("neither gave its failure value with its outputs untouched nor did its work");
        }
        if (met && failed && plan_.fault == nullptr && row_.says_out_of_memory && cause != ENOMEM &&
            plan_.policies == Policies::written) {
            complain("failed for want of memory (refused in %s) with errno %d",
                     shared().refusals.names[0].data(), cause);
        }
        if (plan_.policies == Policies::missing && !policies_are_whole_or_missing(met)) {
            complain("left a policy file that is not whole");
        }
        came_ = came;
    }

    bool survive(long number)
    {
        fewest_open_ = std::min(fewest_open_, open_descriptors());
        Blocks left;
        const bool met = attempt_and_count(number, left);
        const long kept = plan_.cold && !row_.methods.empty() ? kKeptByGlib : 0;
        if (!eventually([&] { return open_descriptors() <= fewest_open_ + kept; }, kPatience)) {
            complain("left a descriptor open: %ld, before %ld", open_descriptors(), fewest_open_);
        }
        if (met) {
            ++(came_ == Came::failed ? shared().failed : shared().complete);
            expect_no_leak(number, left);
            expect_work("after the fault");
        }
        return met;
    }

    bool attempt_and_count(long number, Blocks& left)
    {
        const Blocks before = settled_blocks();
        const bool met = attempt(number);
        left = settled_blocks() - before;
        return met;
    }

    /// What is made once and kept is no leak, nor is a table of GLib's that grows and shrinks: a leak comes
    /// again with the fault at every call, and so in every batch of calls. GLib loses a watch at a part of
    /// the calls, which is another part in each batch.
    void expect_no_leak(long number, const Blocks& left)
    {
        if (plan_.cold ||
            (left.own <= allowed_blocks() &&
             left.glibs <= kLostWatchBlocks)) { // the first call of a process keeps what it makes
            return;
        }
        Blocks kept;
        for (int batch = 0; batch < kBatches; ++batch) {
            kept = blocks_of_batch(number);
            if (kept.own <= kMostOfBatch + kCallsOfBatch * allowed_blocks() &&
                kept.glibs <= kCallsOfBatch * (1 + kLostWatchBlocks)) {
                return;
            }
        }
        complain("left %ld and %ld blocks of memory in each %ld calls (refused in %s)", kept.own, kept.glibs,
                 kCallsOfBatch, shared().refusals.names[0].data());
    }

    Blocks blocks_of_batch(long number)
    {
        const Blocks before = settled_blocks();
        for (long call = 0; call < kCallsOfBatch; ++call) {
            (void)attempt(number);
        }
        return settled_blocks() - before;
    }

    /// GLib's bus thread releases what belongs to a connection after the call that used it.
    [[nodiscard]] Blocks settled_blocks() const
    {
        if (bus_thread_ && !bus_thread_->settle(kPatience)) {
            complain("GLib's bus thread does not come to rest");
        }
        return allocated_blocks();
    }

    /// What a call may leave.
    static long allowed_blocks()
    {
        long allowed = said_by_child().find(kLostError) == std::string::npos ? 0 : kLostErrorBlocks;
        for (const KnownLeak& leak : kKnownLeaks) {
            allowed += shared().refusals.has(leak.site) ? leak.blocks : 0;
        }
        return allowed;
    }

    /// From the first call of a process on GLib's threads have three descriptors to wake each other.
    static constexpr long kKeptByGlib = 3;
    static constexpr std::chrono::seconds kPatience{60};
    static constexpr int kBatches = 40;
    static constexpr long kCallsOfBatch = 32;
    /// Less than one block for each call, though GLib's tables may have shrunk meanwhile.
    static constexpr long kMostOfBatch = 24;

    const Row& row_;
    const Plan& plan_;
    Came came_ = Came::neither;
    /// After any call; one that GLib's thread is about to close is none that may stay.
    long fewest_open_ = LONG_MAX;
    std::optional<BusThread> bus_thread_; ///< where it is waited for
};

void say_nothing(void*, const char*, ...) {}

/// Ends with its parent, leaves no core, and says what it has to say to a file.
void become_child()
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const rlimit no_core = {0, 0};
    ::setrlimit(RLIMIT_CORE, &no_core);
    (void)!::ftruncate(errors(), 0);
    ::lseek(errors(), 0, SEEK_SET);
    ::dup2(errors(), STDERR_FILENO);
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(nowhere, STDOUT_FILENO);
    ::close(nowhere);
    xmlSetGenericErrorFunc(nullptr, say_nothing);
}

/// Runs @body in a child; the status that wait() gives, nothing where it was stuck.
template <class Body>
std::optional<int> in_child(Body body)
{
    std::fflush(nullptr);
    (void)errors(); // made for both
    shared().order.listener = -1;
    shared().order.fault = nullptr;
    shared().complaint[0] = '\0';
    shared().refusals = {};
    const pid_t child = ::fork();
    if (child == 0) {
        become_child();
        try { // nothing may come through to the test's own code, which is the parent's
            body();
        } catch (const std::exception& exception) {
            complain("threw %s", exception.what());
        }
        ::_exit(EXIT_SUCCESS);
    }
    Supervisor supervisor(child, shared().order);
    return supervisor.wait([] { return shared().steps.load(); });
}

// --- in the parent ---

std::string shown(const Entry& entry, const Plan& plan)
{
    std::string text = entry.function;
    text += std::string(", ") + (plan.fault != nullptr ? plan.fault->name : "memory");
    text += " " + std::to_string(shared().number) + (plan.stays ? " and all later" : "");
    text += plan.cold ? ", in a new process" : "";
    return text + (plan.policies == Policies::missing ? ", without policies" : "");
}

/// How GLib ended the child, in the words of the table of endings.
std::optional<std::string> glib_ending(int status)
{
    if (!WIFSIGNALED(status) || (WTERMSIG(status) != SIGTRAP && WTERMSIG(status) != SIGABRT)) {
        return std::nullopt;
    }
    const std::string said = said_by_child();
    for (const GlibEnding& ending : kGlibEndings) {
        if (said.find(ending.words) != std::string::npos) {
            return std::string("no ") + ending.lacked;
        }
    }
    return std::nullopt;
}

/// The library had called GLib when memory was refused; GLib lacks all else at places of its own.
bool glib_was_called(const Plan& plan)
{
    return plan.fault != nullptr || shared().refusals.glib[0] != '\0';
}

std::string how_it_ended(int status)
{
    if (WIFSIGNALED(status)) {
        return std::string("ended by ") + ::strsignal(WTERMSIG(status)) + " (memory refused in " +
               shared().refusals.names[0].data() + "): " + said_by_child();
    }
    return shared().complaint[0] == '\0'
               ? "ended with " + std::to_string(WEXITSTATUS(status)) + ": " + said_by_child()
               : shared().complaint.data();
}

/// Whether the child went on to its next fault or to its end.
bool judge_child(const Entry& entry, const Plan& plan, const std::optional<int>& status, Tally& tally)
{
    if (!status) {
        ADD_FAILURE() << shown(entry, plan) << ": does not come to an end: " << said_by_child();
        return false;
    }
    if (WIFEXITED(*status) && WEXITSTATUS(*status) == EXIT_SUCCESS) {
        return true;
    }
    if (const std::optional<std::string> ending = glib_ending(*status)) {
        EXPECT_TRUE(glib_was_called(plan)) << shown(entry, plan) << ": " << how_it_ended(*status);
        ++tally.ended[plan.fault != nullptr ? *ending : *ending + " in " + shared().refusals.glib.data()];
        return true;
    }
    ADD_FAILURE() << shown(entry, plan) << ": " << how_it_ended(*status);
    return false;
}

} // namespace

Tally& Tally::operator+=(const Tally& other)
{
    faults += other.faults;
    failed += other.failed;
    complete += other.complete;
    for (const auto& [how, times] : other.ended) {
        ended[how] += times;
    }
    return *this;
}

std::ostream& operator<<(std::ostream& out, const Tally& tally)
{
    out << tally.faults << " faults: " << tally.failed << " failed as stated, " << tally.complete
        << " did all their work";
    for (const auto& [how, times] : tally.ended) {
        out << ", " << times << " ended by GLib (" << how << ")";
    }
    return out;
}

std::vector<long> count_chances(const Entry& entry, bool cold)
{
    const Plan plan = {.cold = cold};
    shared().number = 0;
    for (auto& seen : shared().order.seen) {
        seen = 0;
    }
    const auto status = in_child([&] { Child(entry, plan).count(); });
    Tally none;
    (void)judge_child(entry, plan, status, none);
    return {shared().order.seen.begin(), shared().order.seen.begin() + system_faults().size()};
}

Tally run_loop(const Entry& entry, const Plan& plan)
{
    Tally tally;
    shared().failed = 0;
    shared().complete = 0;
    shared().finished = false;
    Plan rest = plan;
    for (long next = plan.first; !shared().finished && rest.most > 0; next = shared().number + plan.stride) {
        shared().number = next;
        const auto status = in_child([&] { Child(entry, rest).run(next); });
        if (!judge_child(entry, plan, status, tally)) {
            break;
        }
        rest.most -= (shared().number - next) / plan.stride + 1;
    }
    tally.failed = shared().failed;
    tally.complete = shared().complete;
    tally.faults = tally.failed + tally.complete;
    for (const auto& [how, times] : tally.ended) {
        tally.faults += times;
    }
    return tally;
}

// --- the bus and the service as a whole ---

namespace {

/// Of a call that failed on this side of the bus.
constexpr int kUsualCode = -1011;

struct BusStep {
    const char* name;
    Service service;
    const char* address = nullptr; ///< of the bus; null: the right one
    int code = kUsualCode;
    bool gives_reply = false; ///< the reply is wrong, but one
};

constexpr BusStep kBusSteps[] = {
    {.name = "no socket at the address", .service = Service::answers, .address = "unix:path=/nonexistent"},
    {.name = "nobody listens", .service = Service::answers, .address = "unix:path=/etc/tresk/deaf"},
    {.name = "malformed address", .service = Service::answers, .address = "nonsense"},
    {.name = "service absent", .service = Service::absent},
    {.name = "error reply", .service = Service::fails, .code = -1001},
    {.name = "reply of another type", .service = Service::answers_other_type, .gives_reply = true},
    {.name = "empty reply", .service = Service::answers_nothing, .gives_reply = true},
    {.name = "service dies", .service = Service::dies},
};

/// A socket that was bound and on which nobody listens.
void make_deaf_socket()
{
    ::unlink("/etc/tresk/deaf");
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address = {AF_UNIX, "/etc/tresk/deaf"};
    ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

void point_at(const char* address)
{
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address, 1);
}

Came call_once(const Row& row)
{
    ++shared().steps;
    if (row.prepare != nullptr) {
        row.prepare();
    }
    const Came came = row.call();
    framework().reset();
    return came;
}

void expect_step(const Entry& entry, const BusStep& step)
{
    const Row& row = *entry.row;
    const bool succeeds = !row.needs_service || (!row.checks_reply && step.gives_reply);
    const long before = open_descriptors();
    if (call_once(row) != (succeeds ? Came::complete : Came::failed)) {
        complain("%s, %s: did not %s", entry.function, step.name,
                 succeeds ? "do its work" : "fail as stated");
    }
    if (!eventually([&] { return open_descriptors() <= before; }, std::chrono::seconds(60))) {
        complain("%s, %s: left a descriptor open", entry.function, step.name);
    }
    ++(succeeds ? shared().complete : shared().failed);
}

void expect_work(const Entry& entry, const char* after)
{
    if (call_once(*entry.row) != Came::complete) {
        complain("%s: does not work after: %s", entry.function, after);
    }
}

void run_step(const std::vector<Entry>& entries, const BusStep& step, const ScriptedBus& bus)
{
    point_at(step.address == nullptr ? bus.address().c_str() : step.address);
    expected_code() = step.code;
    for (const Entry& entry : entries) {
        bus.let(step.service);
        expect_step(entry, step);
    }
    expected_code() = kUsualCode;
    bus.let(Service::answers);
    point_at(bus.address().c_str());
    for (const Entry& entry : entries) {
        expect_work(entry, step.name);
    }
}

void run_steps(const std::vector<Entry>& entries, const ScriptedBus& bus)
{
    make_deaf_socket();
    (void)call_once(*entries.front().row); // GLib's thread keeps what it opens at its first call
    for (const BusStep& step : kBusSteps) {
        run_step(entries, step, bus);
    }
}

} // namespace

Tally run_bus_steps(const std::vector<Entry>& entries, const ScriptedBus& bus)
{
    shared().failed = 0;
    shared().complete = 0;
    const auto status = in_child([&] { run_steps(entries, bus); });
    if (!status || !WIFEXITED(*status) || WEXITSTATUS(*status) != EXIT_SUCCESS) {
        ADD_FAILURE() << "bus: " << (status ? how_it_ended(*status) : "does not come to an end");
    }
    return {shared().failed + shared().complete, shared().failed, shared().complete, {}};
}

} // namespace tresk::test
