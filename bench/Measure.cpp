#include "Measure.h"

#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace bench {

void Samples::measure(size_t count, const std::function<void()>& operation) {
    using Clock = std::chrono::steady_clock;
    for (size_t i = 0; i < count; ++i) {
        const auto begin = Clock::now();
        operation();
        add(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    }
}

void Samples::add(const Samples& other) {
    mTimes.insert(mTimes.end(), other.mTimes.begin(), other.mTimes.end());
}

double Samples::percentile(double share) const {
    if (mTimes.empty()) return 0;
    const auto rank = static_cast<size_t>(share * static_cast<double>(mTimes.size() - 1));
    const auto at = mTimes.begin() + static_cast<std::ptrdiff_t>(rank);
    std::nth_element(mTimes.begin(), at, mTimes.end());
    return *at;
}

void pinTo(int core) {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    if (core < 0) {
        for (size_t each = 0; each < CPU_SETSIZE; ++each) CPU_SET(each, &cores);
    } else {
        CPU_SET(static_cast<size_t>(core), &cores);
    }
    if (::sched_setaffinity(0, sizeof(cores), &cores) != 0) {
        std::perror("sched_setaffinity");
        std::exit(1);
    }
}

Worker::Worker(const std::function<void()>& work) : mPid(::fork()) {
    if (mPid != 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    work();
    ::_exit(0);
}

Worker::~Worker() {
    ::kill(mPid, SIGKILL);
    ::waitpid(mPid, nullptr, 0);
}

void printRow(const std::string& what, const std::vector<std::string>& cells) {
    std::printf("%-44s", what.c_str());
    for (const auto& cell : cells) std::printf("%11s", cell.c_str());
    std::printf("\n");
    std::fflush(stdout);
}

std::string number(double value, int decimals) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.*f", decimals, value);
    return text;
}

}  // namespace bench
