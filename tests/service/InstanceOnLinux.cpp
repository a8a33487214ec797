// Starts the service that InstanceTest.cpp calls; on a device init has done so.
#include <gtest/gtest.h>

#include <memory>

#include "Files.h"
#include "HostProcess.h"

namespace {

class RunningService : public testing::Environment {
  public:
    void SetUp() override {
        support::makeDirectories(support::kDropbox);
        mHost = std::make_unique<support::HostProcess>();
    }
    void TearDown() override { mHost.reset(); }

  private:
    std::unique_ptr<support::HostProcess> mHost;
};

[[maybe_unused]] testing::Environment* const kService =
        testing::AddGlobalTestEnvironment(new RunningService);

}  // namespace
