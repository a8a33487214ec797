#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

// What every measuring program is made of. A program takes [--quick] [WORD...], measures the rows
// whose name holds one of the words, and prints each as a line of JSON.
namespace bench {

// The command line, read by readOptions(); the rest of the program asks these.
void readOptions(int argc, char** argv);
// Whether the row is asked for.
bool wants(const std::string& group, const std::string& name);
// The first number, or in a quick run the second.
size_t scaled(size_t full, size_t inQuickRun);

class Samples {
  public:
    void add(double microseconds) { mTimes.push_back(microseconds); }
    // The time, in microseconds, that `share` of the operations stay within.
    double percentile(double share) const;
    double median() const { return percentile(0.5); }
    double p99() const { return percentile(0.99); }
    double max() const { return percentile(1); }
    size_t count() const { return mTimes.size(); }

  private:
    mutable std::vector<double> mTimes;
};

// One of several things that are compared. Each operation is timed by itself, what prepares it is
// not.
struct Subject {
    std::function<void()> operation;
    std::function<void()> prepare = nullptr;
};

// Runs the subjects in turns, so that all of them see the same machine: in each round every
// subject's operation `perRound` times.
std::vector<Samples> takeTurns(size_t rounds, size_t perRound,
                               const std::vector<Subject>& subjects);

double microsecondsOf(const std::function<void()>& operation);

// A row of the table: what was measured, and the floor that was measured beside it. Its ratio is
// the one divided by the other.
struct Row {
    std::string group;
    std::string name;
    std::string subject;  // whose value it is
    double value;         // microseconds, unless the group says otherwise
    double floor;
    std::vector<std::pair<std::string, double>> more = {};
};
void print(const Row& row);

// Binds this process to one core, or to none in particular for -1.
void pinTo(int core);

// A forked process that runs `work`; killed when this goes out of scope.
class Worker {
  public:
    explicit Worker(const std::function<void()>& work);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    pid_t pid() const { return mPid; }

  private:
    pid_t mPid;
};

// Memory, filled with zeros, that workers forked later share.
void* sharedMemory(size_t size);

// Ends the program, with a line that says what failed.
void check(bool ok, const char* what);

}  // namespace bench
