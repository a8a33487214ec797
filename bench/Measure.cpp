#include "Measure.h"

#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

namespace bench {
namespace {

bool quick = false;
std::vector<std::string> words;

}  // namespace

void readOptions(int argc, char** argv) {
    words.assign(argv + 1, argv + argc);
    const auto option = std::find(words.begin(), words.end(), "--quick");
    quick = option != words.end();
    if (quick) words.erase(option);
}

bool wants(const std::string& group, const std::string& name) {
    const std::string whole = group + ": " + name;
    return words.empty() || std::any_of(words.begin(), words.end(), [&](const std::string& word) {
               return whole.find(word) != std::string::npos;
           });
}

size_t scaled(size_t full, size_t inQuickRun) {
    return quick ? inQuickRun : full;
}

double microsecondsOf(const std::function<void()>& operation) {
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    operation();
    return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

double Samples::percentile(double share) const {
    if (mTimes.empty()) return 0;
    const auto rank = static_cast<size_t>(share * static_cast<double>(mTimes.size() - 1));
    const auto at = mTimes.begin() + static_cast<std::ptrdiff_t>(rank);
    std::nth_element(mTimes.begin(), at, mTimes.end());
    return *at;
}

std::vector<Samples> takeTurns(size_t rounds, size_t perRound,
                               const std::vector<Subject>& subjects) {
    std::vector<Samples> samples(subjects.size());
    for (size_t round = 0; round < rounds; ++round) {
        for (size_t i = 0; i < subjects.size(); ++i) {
            for (size_t time = 0; time < perRound; ++time) {
                if (subjects[i].prepare) subjects[i].prepare();
                samples[i].add(microsecondsOf(subjects[i].operation));
            }
        }
    }
    return samples;
}

void print(const Row& row) {
    nlohmann::ordered_json line = {{"group", row.group},
                                   {"name", row.name},
                                   {"subject", row.subject},
                                   {"value", row.value},
                                   {"floor", row.floor}};
    for (const auto& [name, value] : row.more) line[name] = value;
    std::printf("%s\n", line.dump().c_str());
    std::fflush(stdout);
}

void pinTo(int core) {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    if (core < 0) {
        for (size_t each = 0; each < CPU_SETSIZE; ++each) CPU_SET(each, &cores);
    } else {
        CPU_SET(static_cast<size_t>(core), &cores);
    }
    check(::sched_setaffinity(0, sizeof(cores), &cores) == 0, "sched_setaffinity");
}

Worker::Worker(const std::function<void()>& work) : mPid(::fork()) {
    check(mPid >= 0, "fork");
    if (mPid != 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    work();
    ::_exit(0);
}

Worker::~Worker() {
    ::kill(mPid, SIGKILL);
    ::waitpid(mPid, nullptr, 0);
}

void* sharedMemory(size_t size) {
    void* memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE,
                          MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    check(memory != MAP_FAILED, "mmap");
    return memory;
}

void check(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "%s failed\n", what);
    std::exit(1);
}

}  // namespace bench
