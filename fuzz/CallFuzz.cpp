// Transactions of any kind into the stub, with the real service behind it; between them a client
// writes to its queue. What the service answers, logs and leaves in the dropbox is compared with
// what the state before the call calls for.
#include <aidl/android/hardware/common/fmq/MQDescriptor.h>
#include <android/binder_parcel_utils.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Binder.h"
#include "TextModel.h"

namespace {

using namespace fuzz;
using namespace std::string_literals;
using namespace ::aidl::android::hardware::common::fmq;
using namespace ::aidl::vendor::tav::lumvndhal_aidl;
using support::error;
using support::info;

enum Code { kConfigure = 1, kRead, kGet, kSet, kUpdate, kWrite };
constexpr size_t kMemory = 4096;
constexpr size_t kRingAt = 16;
support::LogCapture* gLog;

// What a client may hand over instead of memory that is sealed.
int otherDescriptor(size_t kind) {
    static int pipe[2];
    static const int fds[] = {::memfd_create("unsealed", MFD_CLOEXEC),
                              ::open("/data", O_RDONLY | O_CLOEXEC),
                              ::pipe2(pipe, O_CLOEXEC) == 0 ? pipe[0] : -1, -1};
    return fds[kind];
}

bool isDirectory(const std::string& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Whether there is nothing by the name in a directory that is there.
bool canMake(const std::string& path) {
    struct stat status = {};
    return ::lstat(path.c_str(), &status) != 0 && errno == ENOENT &&
           isDirectory(path.substr(0, path.rfind('/') + 1));
}

std::string modelPath(const std::string& path) {
    const bool refused = path.empty() || path.find("..") != std::string::npos;
    return refused ? "" : support::kDropbox + path;
}

class Session {
  public:
    Session(Input* input, const Device& device) : mInput(input), mDevice(device) {
        mDevice.setUp(mService.get());
        gLog->take();
    }

    void step() {
        const size_t choice = mInput->below(8);
        if (choice == 0) return writeToQueue();
        if (choice == kConfigure) return configure();
        if (choice == 7) return transactAnything();
        const std::string first = text();
        if (choice == kRead) return requestRead(first);
        if (choice == kGet) return get(first);
        if (choice == kUpdate) return update(first, mInput->flag());
        const std::string second = text();
        if (choice == kSet) return set(first, second);
        write(first, second);
    }

  private:
    // Survives the way through a parcel.
    std::string text() {
        std::string bytes = mInput->text();
        for (char& c : bytes) c = static_cast<char>(c & 0x7f);
        return bytes;
    }

    // Makes the call and holds its outcome against what is true of all of them.
    binder_status_t transact(uint32_t code, AParcel* request, AParcel* reply) {
        request->setPosition(0);
        const auto status = mService->asBinder().get()->transact(code, *request, reply);
        reply->setPosition(0);
        mLog = gLog->take();
        const auto errors = std::count_if(mLog.begin(), mLog.end(), [](const auto& line) {
            return line.priority == ANDROID_LOG_ERROR;
        });
        int32_t exception = -1;
        int32_t result = -1;
        reply->takeValue(&exception);
        if (status != STATUS_OK || code > kWrite || code == kGet) return status;
        require(exception == EX_NONE && reply->takeValue(&result) == STATUS_OK, "a reply is OK");
        const bool isBoolean = code == kConfigure || code == kRead || code == kWrite;
        const bool failed = isBoolean ? result == 0 : result < 0;
        require(errors == (failed ? 1 : 0) || (code == kUpdate && failed && errors == 0),
                "a failure is one line");
        return status;
    }

    template <typename... Args>
    binder_status_t send(uint32_t code, AParcel* reply, const Args&... args) {
        AParcel request;
        standin::writeInterfaceToken(&request, ILumvndhal::descriptor);
        (static_cast<void>(ndk::AParcel_writeData(&request, args)), ...);
        return transact(code, &request, reply);
    }

    // A call of a good client; its result.
    template <typename... Args>
    int32_t call(uint32_t code, const Args&... args) {
        AParcel reply;
        int32_t words[2] = {};
        require(send(code, &reply, args...) == STATUS_OK && reply.setPosition(0) &&
                        reply.takeValue(&words) == STATUS_OK,
                "a call of a client is answered");
        return words[1];
    }

    void configure() {
        const size_t kind = std::max<size_t>(mInput->below(9), 5) - 5;  // mostly the sealed memory
        const auto count = mInput->oneOf({3, 3, 4, 5, 2, 0});
        const auto ring = mInput->oneOf({1, 7, 64, 100, 4000, 4081, 0, -1});
        const GrantorDescriptor regions[] = {
                region(0, 8), region(8, 8), region(kRingAt, ring), region(kMemory - 4, 4), {}};
        MQDescriptor<int8_t, SynchronizedReadWrite> desc;
        for (int i = 0; i < count; ++i) desc.grantors.push_back(regions[i]);
        desc.handle.fds.emplace_back(duplicate(kind));
        desc.quantum = mInput->oneOf({1, 1, 1, 1, 0, 2, -1});
        desc.flags = mInput->oneOf({1, 1, 0, 2, -1});
        const bool valid = kind == 0 && count >= 3 && ring >= 1 && ring <= 4000 &&
                           desc.quantum == 1 && desc.flags >= 0;
        require((call(kConfigure, desc) != 0) == valid, "a good descriptor is accepted");
        mRing = valid ? static_cast<uint64_t>(ring) : 0;
        require(!valid || (mCounters[0] == 0 && mCounters[1] == 0), "the queue is empty at first");
        if (valid) return requireLog(mLog, {});
        requireLog(mLog, {error("[ERROR] mFmqSync is nullptr or invalid")});
    }

    void writeToQueue() {
        if (mInput->below(4) == 0) {  // counters that no honest client has; they do not wrap
            for (int i = 0; i < 2; ++i) mCounters[i] = mInput->take<uint64_t>() >> 1;
            return;
        }
        for (const char c : mInput->text()) {
            mRingBytes[mCounters[1]++ % std::max<uint64_t>(mRing.value_or(1), 1)] = c;
        }
    }

    void requestRead(const std::string& path) {
        const int32_t count = mInput->oneOf({0, -1, 1 << 20, 1, 7, 64, 65, 4000});
        if (!mRing) return transactAnything();  // it is not known what the service has
        uint64_t taken = mCounters[0];
        const uint64_t waiting = mCounters[1] - taken;
        const bool isGood = count >= 1 && !path.empty();
        const bool isRead = isGood && waiting <= *mRing && static_cast<uint64_t>(count) <= waiting;
        std::string bytes;
        for (int i = 0; isRead && i < count; ++i) bytes += mRingBytes[taken++ % *mRing];
        if (isGood && waiting > *mRing) taken = mCounters[1];
        const std::string show = "LumvndhalImpl::request_read(), ";
        bool expected = false;
        support::LogLines log;
        if (*mRing == 0) {
            taken = mCounters[0];
            log = {error("[ERROR] fmq not initialized")};
        } else if (!isGood) {
            log = {error("[ERROR] invalid parameter")};
            mRing = 0;
        } else {
            if (path.size() >= 18) {
                log.push_back(info(show + "path=" + (path.c_str() + 17) + " count=" +
                                   std::to_string(count) + " read=" + (isRead ? "1 " : "0 ")));
            }
            if (!isRead) log.push_back(error("[ERROR] Failed to read data from fmq"));
            expected = isRead && canOpen(path, &log);
            if (expected) log.push_back(info(show + "bres=1 "));
        }
        require((call(kRead, path, count) != 0) == expected, "the result of a read");
        requireLog(mLog, log);
        require(mCounters[0] == taken, "the read counter moves by what was read");
        if (expected) requireContent(path, bytes);
    }

    void write(const std::string& path, const std::string& content) {
        const auto size = static_cast<int32_t>(content.size());
        const int32_t length = mInput->oneOf({size, size, 0, size + 1, size - 1, -1});
        const std::string show = "LumvndhalImpl::write_data_to_vendor_dropbox(), ";
        support::LogLines log;
        if (path.size() >= 18) {
            log = {info(show + "spath=" + (path.c_str() + 17) +
                        " length=" + std::to_string(length))};
        }
        const bool isOpen = canOpen(path, &log);
        const bool isGood = length == 0 || length == size;
        if (isOpen && !isGood) log.push_back(error("[ERROR] wrong data"));
        if (isOpen) log.push_back(info(show + "bres=" + (isGood ? "1 " : "0 ")));
        const std::vector<uint8_t> data(content.begin(), content.end());
        const bool result = call(kWrite, path, data, length) != 0;
        require(result == (isOpen && isGood), "the result of a write");
        requireLog(mLog, log);
        if (isOpen) requireContent(path, length == size ? content : "");
    }

    // Whether the file of that path can be opened for writing, and the line that says why not.
    static bool canOpen(const std::string& path, support::LogLines* log) {
        const std::string file = modelPath(path);
        struct stat status = {};
        const bool can = ::stat(file.c_str(), &status) == 0 ? S_ISREG(status.st_mode)
                                                            : canMake(file.c_str());
        if (file.empty()) log->push_back(error("[ERROR] Path is not correct"));
        if (!file.empty() && !can) log->push_back(error("[ERROR] Can't open output file"));
        return can;
    }

    static void requireContent(const std::string& path, const std::string& content) {
        require(support::readFile(modelPath(path).c_str()) == content,
                "the file is as it was sent");
    }

    void update(const std::string& path, bool create) {
        const std::string full = modelPath(path);
        std::string name = full.c_str();
        const bool isTree = isDirectory(name);
        support::LogLines log;
        int32_t expected = 0;
        if (full.empty()) {
            log = {error("[ERROR] Path is not correct")};
            expected = -1;
        } else if (create) {
            while (name.back() == '/') name.pop_back();
            if (support::exists(name) && full.size() >= 18) {
                log = {support::debug((full.c_str() + 17) + " is already exist"s)};
            }
            if (!support::exists(name) && !canMake(name)) expected = -1;
        } else if (!isTree) {
            log = {support::debug(name + " is null")};
        } else {  // it gets a link to what must stay
            support::makeDirectories(name + "/a/b");
            require(::symlink("/data/other", (name + "/a/link").c_str()) == 0 || errno == EEXIST,
                    "link");
        }
        require(call(kUpdate, path, create) == expected, "the result of an update");
        requireLog(mLog, log);
        if (!create && isTree && !full.empty()) {
            require(support::namesIn(name).empty(), "nothing of a removed tree is left");
        }
        if (create && expected == 0) require(support::exists(name), "the directory is there");
    }

    // Whether the answer arrives depends on the firmware's texts; what is in it is TextFuzz's.
    void get(const std::string& cmd) {
        AParcel reply;
        send(kGet, &reply, cmd);
        requireLog(mLog, modelGet(mDevice, cmd).log);
    }

    void set(const std::string& cmd, const std::string& param) {
        const Answer answer = modelSet(cmd, param);
        require(call(kSet, cmd, param) == answer.result.value_or(0), "the result of a set");
        requireLog(mLog, answer.log);
    }

    // Any code, bytes and descriptors; what it does is held against the rules for all calls alone.
    void transactAnything() {
        const auto code = mInput->flag() ? mInput->take<uint8_t>() % 8U : mInput->take<uint32_t>();
        AParcel request;
        if (mInput->below(8) != 0) standin::writeInterfaceToken(&request, ILumvndhal::descriptor);
        const std::string bytes = mInput->bytes(mInput->take<uint16_t>() % 1024);
        if (!bytes.empty()) std::memcpy(request.put(bytes.size()), bytes.data(), bytes.size());
        for (size_t count = mInput->below(4); count > 0; --count) {
            const size_t kind = mInput->below(5);
            request.fds.emplace_back(duplicate(kind));
        }
        AParcel reply;
        transact(code, &request, &reply);
        if (code == kConfigure || code == kRead) mRing.reset();
    }

    // Of the memory, or of something else that a client may hand over: none for the last.
    int duplicate(size_t kind) const {
        return ::fcntl(kind == 0 ? mMemory.fd() : otherDescriptor(kind - 1), F_DUPFD_CLOEXEC, 0);
    }

    static GrantorDescriptor region(int32_t offset, int64_t extent) {
        GrantorDescriptor made;
        made.offset = offset;
        made.extent = extent;
        return made;
    }

    Input* const mInput;
    const Device& mDevice;
    const ClientMemory mMemory{kMemory};
    const std::shared_ptr<LumvndhalImpl> mService = ndk::SharedRefBase::make<LumvndhalImpl>();
    uint64_t* const mCounters = reinterpret_cast<uint64_t*>(mMemory.bytes());
    char* const mRingBytes = mMemory.bytes() + kRingAt;
    std::optional<uint64_t> mRing = 0;  // bytes; 0: there is no valid queue; none: not known
    support::LogLines mLog;             // of the last call
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static support::LogCapture log;
    gLog = &log;
    Input input(data, size);
    otherDescriptor(0);  // opens them all
    const Device device(&input);
    resetDropbox();
    const Watch watch;
    Session session(&input, device);
    for (int calls = 0; calls < 16 && !input.isEmpty(); ++calls) session.step();
    return 0;
}
