#include <android/log.h>

#include <cstdlib>

#include "CommandLine.h"

// The lines of the platform's libraries would stand beside the one line that a failure gets; who
// wants them names them in ANDROID_LOG_TAGS.
int main(int argc, char** argv) {
    if (std::getenv("ANDROID_LOG_TAGS") == nullptr) {
        __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    }
    return lumctl::run(argc, argv);
}
