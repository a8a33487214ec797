// The mapping's proxy and stub. Both classes below derive, in a program with type information, from
// what is built without it.
#include <aidl/vendor/tav/lumvndhal_aidl/BpLumvndhal.h>
#include <android/binder_parcel_utils.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "ServiceUnderTest.h"

namespace {

using namespace support;
using aidl::android::hardware::common::NativeHandle;
using aidl::android::hardware::common::fmq::GrantorDescriptor;
using aidl::vendor::tav::lumvndhal_aidl::BnLumvndhal;
using aidl::vendor::tav::lumvndhal_aidl::BpLumvndhal;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData;

class EchoingService : public LumvndhalImpl {
  public:
    ndk::ScopedAStatus get_vnd_data(const std::string& cmd, LumvndhalGenericData* vnd_data,
                                    int32_t* result) override {
        if (cmd == "never") return ndk::ScopedAStatus::fromExceptionCode(EX_SECURITY);
        vnd_data->data = cmd == "half" ? "\xe2\x82" : cmd;
        *result = 5;
        return ndk::ScopedAStatus::ok();
    }
};

std::vector<std::string> gLines;

template <typename Log>
void keepLine(const Log& log) {
    std::string line = log.method_name + "(";
    for (const auto& [name, value] : log.input_args) line += name + " " + value + ", ";
    line += ") = " + log.result;
    for (const auto& [name, value] : log.output_args) line += ", " + name + " " + value;
    if (log.exception_code != 0) line += "failed " + std::to_string(log.transaction_error);
    gLines.push_back(line);
    EXPECT_EQ(log.interface_name, ILumvndhal::descriptor);
    EXPECT_GE(log.duration_ms, 0);
}

TEST(Mapping, TellsOfEachCallOnBothSidesWhenAsked) {
    const auto service = ndk::SharedRefBase::make<EchoingService>();
    EXPECT_NE(dynamic_cast<LumvndhalImpl*>(static_cast<ILumvndhal*>(service.get())), nullptr);
    ASSERT_EQ(ILumvndhal::fromBinder(service->asBinder()), service);
    const auto proxy = ndk::SharedRefBase::make<BpLumvndhal>(service->asBinder());
    BnLumvndhal::logFunc = [&](const BnLumvndhal::TransactionLog& log) {
        EXPECT_TRUE(log.stub_address != nullptr && log.proxy_address == nullptr);
        keepLine(log);
    };
    BpLumvndhal::logFunc = [&](const BpLumvndhal::TransactionLog& log) {
        EXPECT_TRUE(log.proxy_address == proxy.get() && log.stub_address == nullptr);
        keepLine(log);
    };
    bool truth = true;
    int32_t number = 7;
    LumvndhalGenericData data;
    aidl::android::hardware::common::fmq::MQDescriptor<
            int8_t, aidl::android::hardware::common::fmq::SynchronizedReadWrite>
            queue;
    queue.grantors = {{0, 8, 16}};
    queue.handle.ints = {7};
    proxy->configure(queue, &truth);
    proxy->request_read("/f", 3, &truth);
    proxy->get_vnd_data("a", &data, &number);
    proxy->get_vnd_data("half", &data, &number);
    proxy->set_vnd_data("a", "b", &number);
    proxy->update_vendor_dropbox("..", true, &number);
    proxy->write_data_to_vendor_dropbox("..", {0, 255}, 2, &truth);
    BnLumvndhal::logFunc = nullptr;
    BpLumvndhal::logFunc = nullptr;
    EXPECT_EQ(proxy->set_vnd_data("a", "half \xe2", &number).getStatus(), STATUS_BAD_VALUE);
    EXPECT_FALSE(service->isRemote() || proxy->isRemote());
    EXPECT_EQ(service->dump(1, nullptr, 0), STATUS_OK);
    EXPECT_EQ(service->handleShellCommand(0, 1, 2, nullptr, 0), STATUS_OK);
    EXPECT_EQ(proxy->dump(1, nullptr, 0), STATUS_INVALID_OPERATION);
    const std::string description =
            "MQDescriptor{grantors: [GrantorDescriptor{fdIndex: 0, offset: 8, extent: 16}], "
            "handle: NativeHandle{fds: [], ints: [7]}, quantum: 0, flags: 0}";
    const std::string lines[] = {
            "configure(in_desc " + description + ", ) = false",
            "request_read(in_path /f, in_count 3, ) = false",
            "get_vnd_data(in_cmd a, ) = 5, out_vnd_data " +
                    std::string("LumvndhalGenericData{data_size: 0, data: a}"),
            "get_vnd_data(in_cmd half, ) = ",  // the service says 5; its reply cannot be written
            "set_vnd_data(in_cmd a, in_param b, ) = 0",
            "update_vendor_dropbox(in_path .., in_create true, ) = -1",
            "write_data_to_vendor_dropbox(in_spath .., in_data [0, 255], in_length 2, ) = false"};
    ASSERT_EQ(gLines.size(), 2 * std::size(lines));
    for (size_t i = 0; i < std::size(lines); ++i) {
        EXPECT_EQ(gLines[2 * i].substr(0, lines[i].size()), lines[i]);
        EXPECT_EQ(gLines[2 * i + 1], lines[i] + (i == 3 ? "failed -22" : ""));
    }
}

TEST(Mapping, RepliesWithNothingButTheOutcomeWhereItIsNotOk) {
    const ndk::SpAIBinder binder = ndk::SharedRefBase::make<EchoingService>()->asBinder();
    ndk::ScopedAParcel in;
    ndk::ScopedAParcel out;
    ASSERT_EQ(AIBinder_prepareTransaction(binder.get(), in.getR()), STATUS_OK);
    ndk::AParcel_writeString(in.get(), std::string("never"));
    AIBinder_transact(binder.get(), ILumvndhal::TRANSACTION_get_vnd_data, in.getR(), out.getR(), 0);
    EXPECT_EQ(AParcel_getDataSize(out.get()), 16);  // exception, no text, no trace
}

template <typename T>
void expectOrder(const T& a, const T& b) {
    EXPECT_TRUE(a == a && a <= a && a >= a && !(a < a) && !(a > a) && !(a != a));
    EXPECT_TRUE(a != b && a < b && a <= b && !(a == b) && !(a > b) && !(a >= b));
}

TEST(Mapping, DataCompareByFieldsInTheirOrder) {
    expectOrder(LumvndhalGenericData{}, {0, "x"});
    expectOrder(LumvndhalGenericData{0, "x"}, {1, ""});
    expectOrder(GrantorDescriptor{1, 2, 3}, {1, 2, 4});
    using Descriptors = std::vector<ndk::ScopedFileDescriptor>;
    expectOrder(NativeHandle{Descriptors(1), {1}}, {Descriptors(1), {2}});
}

TEST(Mapping, ProxyAsksForVersionAndHashOnce) {
    const ServiceUnderTest service(From::kOtherProcess);
    const auto unasked = ILumvndhal::fromBinder(service->asBinder());
    int32_t version = 0;
    for (const bool alive : {true, false}) {
        std::string hash;
        EXPECT_TRUE(service->getInterfaceVersion(&version).isOk() && version == 1);
        EXPECT_TRUE(service->getInterfaceHash(&hash).isOk() && hash == ILumvndhal::hash);
        version = 0;
        if (alive) ::kill(service.process(), SIGKILL);
    }
    EXPECT_EQ(unasked->getInterfaceVersion(&version).getStatus(), STATUS_DEAD_OBJECT);
}

}  // namespace
