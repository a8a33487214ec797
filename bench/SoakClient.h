#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Service.h"

namespace bench {

// The bytes of a file that were made from a seed: what it holds can be told without keeping it.
std::vector<uint8_t> contentOf(uint32_t seed, size_t size);

// A file that the service says it has stored, in memory that outlives the client.
struct Stored {
    std::atomic<bool> answered;
    uint32_t seed;
    size_t size;
};
constexpr size_t kStoredFiles = 8;

// A client that calls all methods, rightly and wrongly, in an order that its number decides, and
// looks at every answer and every file. Ends its process when one is not as it has to be.
class SoakClient {
  public:
    // `stored` has kStoredFiles.
    SoakClient(size_t number, Stored* stored);

    // Makes about so many calls.
    void call(size_t calls);
    // Stores files, one after the other, for ever.
    void storeForEver();
    // Looks at those files that are said to be stored.
    static void verifyStored(size_t number, const Stored* stored);

  private:
    void makeCalls();
    void askForFacts();
    void sendWords();
    void sendStatistics();
    void changeDirectories();
    void writeFiles();
    void writeWrongly();
    void transfer();
    void transferWrongly();
    void storeNext(bool throughQueue);
    bool requestRead(const std::string& path, int32_t count);
    void expect(bool ok, const char* what);
    size_t random(size_t below) { return mRandom() % below; }

    const size_t mNumber;
    const std::string mDirectory;
    Stored* const mStored;
    const std::shared_ptr<ILumvndhal> mService;
    std::minstd_rand mRandom;
    size_t mCalls = 0;
    size_t mNext = 0;
    std::string mFacts[3];
};

}  // namespace bench
