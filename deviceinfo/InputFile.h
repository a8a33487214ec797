#pragma once

#include <cstddef>
#include <cstdio>

namespace aidl::vendor::tav::lumvndhal_aidl {

// A text file that is read line by line. Closed when it goes out of scope, if not before.
// Used by one thread.
//
// Opening succeeds for a directory too, as fopen does; it then has no lines.
class InputFile {
  public:
    explicit InputFile(const char* path) : mStream(std::fopen(path, "re")) {}
    ~InputFile() { close(); }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    bool isOpen() const { return mStream != nullptr; }

    // Puts the next line, its newline included, into `line` and ends it with a NUL. Of a line that
    // is too long as much as fits; the rest is the next line. False when there is no more or when
    // it cannot be read; `line` is then the empty text. The file must be open.
    template <size_t kSize>
    bool readLine(char (&line)[kSize]) {
        if (std::fgets(line, kSize, mStream) != nullptr) return true;
        line[0] = '\0';
        return false;
    }

    // Does nothing when the file is not open.
    void close() {
        if (mStream != nullptr) static_cast<void>(std::fclose(mStream));
        mStream = nullptr;
    }

  private:
    FILE* mStream;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
