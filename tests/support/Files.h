#pragma once

#include <string>
#include <vector>

// Small helpers for tests that run inside a device root. All of them end the test program when the
// outside world does not let them do their work.
namespace support {

constexpr char kDropbox[] = "/data/vendor/lum";

// Makes the directory and those above it.
void makeDirectories(const std::string& path) noexcept;
// Writes the file, making the directory that holds it.
void writeFile(const std::string& path, const std::string& content);
std::string readFile(const std::string& path);
bool exists(const std::string& path) noexcept;
// The names in a directory, sorted; empty when there is no such directory.
std::vector<std::string> namesIn(const std::string& path);
// Removes the file, or the directory with everything below it.
void removeAll(const std::string& path) noexcept;

// How many descriptors and memory mappings this process (or process `pid`) has.
size_t openDescriptors(int pid = 0);
size_t memoryMappings(int pid = 0);
// Pages of this process's address space.
size_t pagesOfMemory();

// Whether real file systems are mounted in the root; what needs one cannot run otherwise.
bool hasRealMounts();

}  // namespace support
