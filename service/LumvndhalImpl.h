#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/BnLumvndhal.h>
#include <fmq/AidlMessageQueue.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "GuardedBy.h"

namespace aidl::vendor::tav::lumvndhal_aidl {

// The vendor service: the one object behind ILumvndhal.
//
// The host makes it with ndk::SharedRefBase::make<LumvndhalImpl>(), hands over its callbacks and
// its version text, and registers it; both set-up calls come first, because they take no lock.
//
// Thread-safety: the six interface methods may be called from any thread at any time. Each holds
// the service's one mutex from entry to return, so they never overlap, whatever they wait for. The
// callbacks run under that mutex on the calling thread and must not call an interface method. The
// other operations take no lock.
//
// Errors: every interface method returns the OK status; failure is false or -1 in its result, with
// a line in the log; only a directory that cannot be made leaves none. Nothing is thrown.
class __attribute__((visibility("default"))) LumvndhalImpl : public BnLumvndhal {
  public:
    // A client's queue, and the descriptor that it hands over to share it.
    using ByteQueue = ::android::AidlMessageQueue<
            int8_t, ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>;
    using ByteQueueDescriptor = ::aidl::android::hardware::common::fmq::MQDescriptor<
            int8_t, ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>;

    // The session operator: the campaign engine of the hosting executable. Plain functions, which
    // the service calls and does not own; see campaign/ for when.
    //
    // Starts (1) or stops (0) a campaign: operation, leading field of the command, collector names.
    using SetCampOperation = void (*)(uint32_t, std::string, std::vector<std::string>);
    // Switches a module's campaign on (1) or off (0): operation, module number.
    using SetCampModuleOperation = void (*)(uint32_t, uint32_t);
    // Writes the status of a module's campaign into the text, which comes empty.
    using GetCampStatus = void (*)(std::string&, uint32_t);
    // Writes the state of the collectors into the text, which comes empty.
    using GetCollectorsState = void (*)(std::string&);

    LumvndhalImpl();
    ~LumvndhalImpl() override;

    // --- The interface; ILumvndhal.aidl tells what each method does.

    ::ndk::ScopedAStatus configure(const ByteQueueDescriptor& desc, bool* result) override;
    ::ndk::ScopedAStatus request_read(const std::string& path, int32_t count,
                                      bool* result) override;
    // An unknown command leaves both `*vnd_data` and `*result` as they are.
    ::ndk::ScopedAStatus get_vnd_data(const std::string& cmd, LumvndhalGenericData* vnd_data,
                                      int32_t* result) override;
    // An unknown command leaves `*result` as it is.
    ::ndk::ScopedAStatus set_vnd_data(const std::string& cmd, const std::string& param,
                                      int32_t* result) override;
    ::ndk::ScopedAStatus update_vendor_dropbox(const std::string& path, bool create,
                                               int32_t* result) override;
    ::ndk::ScopedAStatus write_data_to_vendor_dropbox(const std::string& spath,
                                                      const std::vector<uint8_t>& data,
                                                      int32_t length, bool* result) override;

    // --- Set-up, by the host before registration.

    // All four must be set: they are called without a test.
    void init_session_operator(SetCampOperation campOperation,
                               SetCampModuleOperation moduleOperation, GetCampStatus campStatus,
                               GetCollectorsState collectorsState);
    // Copies the text; null counts as empty.
    void set_lumtr_version(const char* text);

    // --- Text helpers.

    // Appends the pieces between the occurrences of `delim` to `pieces`, empty ones included. An
    // empty delimiter cuts nothing.
    void splitDelimiter(std::string s, std::string delim, std::vector<std::string>& pieces);
    // Whether all bytes are digits, which holds for no bytes as well. Says nothing about the range.
    bool isNumber(const std::string& s);

    // --- Device facts.

    // Writes the build identifier, at most 127 characters and a NUL, and its length. Leaves both
    // untouched when there is none. `out` has room for 128 bytes.
    void get_build_id(char* out, int* len);
    // Copies `src` with every '|' and ':' doubled. `dst` has room for 2 * strlen(src) + 1 bytes. 0,
    // or 1 with nothing written when a pointer is null.
    int escapeColonAndBar(char* dst, char* src);
    // Writes "<soc id>+<serial number>" and its length. `*len` holds the capacity of `out` in
    // bytes.
    void get_chipset_serial(char* out, int* len);
    // Whether the system property has a value and it equals `expected`.
    bool check_property_value(const char* key, const char* expected);
    // How often the device was reset to its factory state; 0 when that cannot be read.
    int64_t get_factory_reset_count();

    // --- Campaigns: 0 when the command was handed to the session operator, -1 when it was refused.

    int32_t setCampOperation(std::string cmd, std::string param);
    int32_t setCampModuleOperation(std::string cmd, std::string param);
    // The session operator's answer, or "invalid module".
    std::string getCampStatus(std::string param);
    std::string getCollectorsState(std::string param);

    // --- Dropbox.

    // The full path of a client's path, or an empty text when it is refused.
    std::string validate_path(std::string path);
    // Removes the directory and everything below it, as far as that can be done, at any depth.
    // Links below it are removed, never followed; a link that the path itself ends in is followed.
    void delete_dir_tree(const char* path);

  private:
    std::mutex mLock;  // held by each interface method
    std::unique_ptr<ByteQueue> mFmqSync LUM_GUARDED_BY(mLock);
    std::string mLumtrVersion;
    SetCampOperation mSetCampOperation = nullptr;
    SetCampModuleOperation mSetCampModuleOperation = nullptr;
    GetCampStatus mGetCampStatus = nullptr;
    GetCollectorsState mGetCollectorsState = nullptr;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
