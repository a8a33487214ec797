#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

// Times of single operations, and what they come to.
namespace bench {

class Samples {
  public:
    // Runs the operation `count` times, timing each.
    void measure(size_t count, const std::function<void()>& operation);
    void add(const Samples& other);
    void add(double microseconds) { mTimes.push_back(microseconds); }
    const std::vector<double>& all() const { return mTimes; }

    // The time, in microseconds, that `share` of the operations stay within.
    double percentile(double share) const;
    double median() const { return percentile(0.5); }
    double p99() const { return percentile(0.99); }

  private:
    mutable std::vector<double> mTimes;
};

// Binds this process to one core, or to none in particular for -1.
void pinTo(int core);

// A forked process that runs `work`; killed when this goes out of scope.
class Worker {
  public:
    explicit Worker(const std::function<void()>& work);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

  private:
    pid_t mPid;
};

// Prints a row of a table, the first text to the left and the others to the right.
void printRow(const std::string& what, const std::vector<std::string>& cells);
std::string number(double value, int decimals = 2);

}  // namespace bench
