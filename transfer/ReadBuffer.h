#pragma once

#include <cstddef>
#include <cstdint>

namespace aidl::vendor::tav::lumvndhal_aidl {

// Zeroed memory for one block, given back when it goes out of scope. Nothing of it is there until
// it is written to, so that a block which then is not to be had costs nothing, however large.
class ReadBuffer {
  public:
    explicit ReadBuffer(size_t size);
    ~ReadBuffer();
    ReadBuffer(const ReadBuffer&) = delete;
    ReadBuffer& operator=(const ReadBuffer&) = delete;

    // Null when there is no memory.
    int8_t* data() const { return mData; }

  private:
    void map(size_t size);

    void* mMapping = nullptr;  // holds mData when it is not from the heap
    size_t mMapped = 0;
    int8_t* mData = nullptr;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
