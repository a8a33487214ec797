#include "SoakClient.h"

#include <fcntl.h>
#include <fmq/AidlMessageQueue.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>

#include "LumvndhalImpl.h"
#include "Measure.h"

namespace bench {
namespace {

using Queue = aidl::vendor::tav::lumvndhal_aidl::LumvndhalImpl::ByteQueue;

const std::string kStatistics = "/shared/1503/nwstats.tmp";

bool holds(const std::string& path, const std::vector<uint8_t>& content) {
    std::ifstream file(kDropbox + path, std::ios::binary);
    const std::vector<uint8_t> found((std::istreambuf_iterator<char>(file)),
                                     std::istreambuf_iterator<char>());
    return file.good() && found == content;
}

bool exists(const std::string& path) {
    return ::access((kDropbox + path).c_str(), F_OK) == 0;
}

std::string nameOf(size_t client, size_t file) {
    return "/c" + std::to_string(client) + "/" + std::to_string(file);
}

// The service has one queue and one file of statistics for all: who uses them keeps the others out.
class Turn {
  public:
    Turn() : mFile(::open("/data/turn", O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        check(::flock(mFile, LOCK_EX) == 0, "flock");
    }
    ~Turn() { ::close(mFile); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

  private:
    int mFile;
};

}  // namespace

std::vector<uint8_t> contentOf(uint32_t seed, size_t size) {
    std::vector<uint8_t> content(size);
    for (size_t i = 0; i < size; ++i) {
        content[i] = static_cast<uint8_t>(seed + i * 7 + (i >> 8) * 13);
    }
    return content;
}

SoakClient::SoakClient(size_t number, Stored* stored)
    : mNumber(number),
      mDirectory("/c" + std::to_string(number)),
      mStored(stored),
      mService(connect()),
      mRandom(static_cast<uint32_t>(number + 1)) {
    int32_t result = -1;
    mService->update_vendor_dropbox(mDirectory, true, &result);
    expect(result == 0, "the client's directory is made");
}

void SoakClient::expect(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "client %zu, after %zu calls: not so: %s\n", mNumber, mCalls, what);
    std::exit(1);
}

void SoakClient::call(size_t calls) {
    for (mCalls = 0; mCalls < calls;) makeCalls();
}

void SoakClient::makeCalls() {
    constexpr void (SoakClient::*kKinds[])() = {
            &SoakClient::askForFacts,    &SoakClient::sendWords,
            &SoakClient::sendStatistics, &SoakClient::changeDirectories,
            &SoakClient::writeFiles,     &SoakClient::writeWrongly,
            &SoakClient::transfer,       &SoakClient::transferWrongly};
    (this->*kKinds[random(std::size(kKinds))])();
}

void SoakClient::askForFacts() {
    constexpr const char* kWords[] = {"BUILDID", "LUMTR_VERSION", "CHIPSET_SERIAL"};
    for (size_t i = 0; i < std::size(kWords); ++i) {
        LumvndhalGenericData data;
        int32_t result = -1;
        const bool reached = mService->get_vnd_data(kWords[i], &data, &result).isOk();
        if (mFacts[i].empty()) mFacts[i] = data.data;
        expect(reached && result == 0 && !data.data.empty() && data.data == mFacts[i] &&
                       data.data_size == static_cast<int32_t>(data.data.size()),
               "a fact of the device stays what it is");
    }
    LumvndhalGenericData data;
    int32_t result = 0;
    expect(mService->get_vnd_data("nothing", &data, &result).isOk() && data.data.empty(),
           "an unknown word has no answer");
    mCalls += 4;
}

void SoakClient::sendWords() {
    const struct {
        const char* word;
        const char* parameter;
        int32_t result;
    } kWords[] = {{"startModuleCamp", "7", 0},      {"stopModuleCamp", "7", 0},
                  {"startModuleCamp", "seven", -1}, {"startCamp", "soak;one,two", 0},
                  {"stopCamp", "soak;one,two", 0},  {"startCamp", "", -1}};
    for (const auto& each : kWords) {
        int32_t result = 1;
        expect(mService->set_vnd_data(each.word, each.parameter, &result).isOk() &&
                       result == each.result,
               each.word);
    }
    mCalls += std::size(kWords);
}

void SoakClient::sendStatistics() {
    const Turn turn;
    const size_t size = 1 + random(100);
    std::string block(4, '\0');
    block[3] = static_cast<char>(size);
    block.append(size, static_cast<char>('a' + random(26)));
    int32_t result = -1;
    mService->set_vnd_data("LUMNETSTATS", block, &result);
    expect(result == 0 && holds(kStatistics, {block.begin() + 4, block.end()}),
           "statistics are stored");
    mService->set_vnd_data("LUMNETSTATS", block + "x", &result);
    expect(result == -1 && holds(kStatistics, {}), "a wrong length leaves an empty file");
    mCalls += 2;
}

void SoakClient::changeDirectories() {
    const std::string directory = mDirectory + "/d";
    int32_t result = -1;
    mService->update_vendor_dropbox(directory, true, &result);
    expect(result == 0 && exists(directory), "a directory is made");
    mService->update_vendor_dropbox(directory + "/e", true, &result);
    bool written = false;
    mService->write_data_to_vendor_dropbox(directory + "/e/f", {1, 2, 3}, 3, &written);
    expect(result == 0 && written && holds(directory + "/e/f", {1, 2, 3}), "a file is below it");
    mService->update_vendor_dropbox(directory, false, &result);
    expect(result == 0 && !exists(directory), "a tree is removed");
    mService->update_vendor_dropbox("/../x", true, &result);
    expect(result == -1, "a path out of the dropbox is refused");
    mService->update_vendor_dropbox(mDirectory + "/no/such", true, &result);
    expect(result == -1, "a directory in a missing one cannot be made");
    mCalls += 6;
}

void SoakClient::writeFiles() {
    storeNext(false);
}

void SoakClient::writeWrongly() {
    const std::string path = mDirectory + "/wrong";
    bool result = true;
    mService->write_data_to_vendor_dropbox(path, {1, 2, 3}, 4, &result);
    expect(!result && holds(path, {}), "a length that does not fit leaves an empty file");
    mService->write_data_to_vendor_dropbox("/no/such/file", {1}, 1, &result);
    expect(!result, "a file in a missing directory cannot be written");
    mCalls += 2;
}

void SoakClient::transfer() {
    storeNext(true);
}

void SoakClient::storeNext(bool throughQueue) {
    const size_t size = random(8) == 0 ? 1 + random(200000) : 1 + random(4096);
    const auto seed = static_cast<uint32_t>(mRandom());
    const std::vector<uint8_t> content = contentOf(seed, size);
    const std::string path = nameOf(mNumber, mNext);
    Stored& stored = mStored[mNext];
    mNext = (mNext + 1) % kStoredFiles;
    stored.answered = false;
    bool result = false;
    if (throughQueue) {
        const Turn turn;
        Queue queue(size);
        mService->configure(queue.dupeDesc(), &result);
        expect(result && queue.write(reinterpret_cast<const int8_t*>(content.data()), size),
               "a queue is taken");
        result = requestRead(path, static_cast<int32_t>(size)) && queue.availableToRead() == 0;
    } else {
        mService->write_data_to_vendor_dropbox(path, content, static_cast<int32_t>(size), &result);
    }
    expect(result, "a file is stored");
    stored.seed = seed;
    stored.size = size;
    stored.answered = true;
    expect(holds(path, content), "a stored file holds its bytes");
    mCalls += throughQueue ? 2 : 1;
}

bool SoakClient::requestRead(const std::string& path, int32_t count) {
    bool result = true;
    return mService->request_read(path, count, &result).isOk() && result;
}

void SoakClient::transferWrongly() {
    const Turn turn;
    const std::string path = mDirectory + "/none";
    Queue queue(100);
    bool result = false;
    mService->configure(queue.dupeDesc(), &result);
    expect(result && !requestRead(path, 1) && !exists(path), "an empty queue has nothing to read");
    expect(!requestRead(path, 0) && !requestRead(path, 1), "a count of 0 detaches the queue");
    auto wrong = queue.dupeDesc();
    wrong.quantum = 3;
    mService->configure(wrong, &result);
    expect(!result, "a wrong descriptor is refused");
    mCalls += 5;
}

void SoakClient::storeForEver() {
    for (;;) storeNext(random(2) == 0);
}

void SoakClient::verifyStored(size_t number, const Stored* stored) {
    for (size_t i = 0; i < kStoredFiles; ++i) {
        const Stored& each = stored[i];
        check(!each.answered || holds(nameOf(number, i), contentOf(each.seed, each.size)),
              "keeping a file that was answered true");
    }
}

}  // namespace bench
