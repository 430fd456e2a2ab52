// Runs a fuzz target without clang: the kept inputs first, then mutations of them, drawn from a seed so that any
// failure repeats. An input that brings the target down is written to the working folder under a name that tells
// where it came from; given as a file it runs alone.

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/FuzzMutator.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" [[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)());

namespace tallyrig {
namespace {

FuzzInput runningInput;
std::string runningName;

void keepRunningInput() {
  const std::string path = "crash-" + runningName;
  if (std::FILE* file = std::fopen(path.c_str(), "wb")) {
    std::fwrite(runningInput.data(), 1, runningInput.size(), file);
    std::fclose(file);
  }
  std::fprintf(stderr, "The failing input of %zu bytes is kept in %s\n", runningInput.size(), path.c_str());
}

void onAbort(int) {
  keepRunningInput();
  std::_Exit(1);
}

void run(std::string name, FuzzInput input) {
  runningName = std::move(name);
  runningInput = std::move(input);
  LLVMFuzzerTestOneInput(runningInput.data(), runningInput.size());
}

FuzzInput readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// In the order of their names, since the mutations are drawn from this list.
std::vector<std::filesystem::path> filesOf(const std::vector<std::string>& arguments) {
  std::vector<std::filesystem::path> files;
  for (const std::string& argument : arguments) {
    if (!std::filesystem::is_directory(argument)) {
      files.emplace_back(argument);
      continue;
    }
    const auto before = static_cast<std::ptrdiff_t>(files.size());
    for (const auto& entry : std::filesystem::directory_iterator(argument)) files.push_back(entry.path());
    std::sort(files.begin() + before, files.end());
  }
  return files;
}

int fuzz(std::uint64_t mutations, std::uint64_t seed, const std::vector<std::string>& arguments) {
  std::vector<FuzzInput> corpus;
  for (const auto& path : filesOf(arguments)) {
    corpus.push_back(readFile(path));
    run(path.filename().string(), corpus.back());
  }
  if (corpus.empty()) {
    std::fprintf(stderr, "No input to start from\n");
    return 2;
  }
  std::printf("%zu kept inputs passed; %llu mutations, seed %llu\n", corpus.size(),
              static_cast<unsigned long long>(mutations), static_cast<unsigned long long>(seed));
  FuzzMutator mutator(seed);
  for (std::uint64_t index = 0; index < mutations; ++index) {
    run("seed" + std::to_string(seed) + "-" + std::to_string(index), mutator.mutated(corpus));
  }
  std::printf("All passed\n");
  return 0;
}

}  // namespace
}  // namespace tallyrig

int main(int argc, char** argv) {
  std::uint64_t mutations = 0;
  std::uint64_t seed = 1;
  std::vector<std::string> arguments;
  for (int index = 1; index < argc; ++index) {
    const std::string_view argument = argv[index];
    if (argument.starts_with("--mutations=")) {
      mutations = std::strtoull(argv[index] + 12, nullptr, 10);
    } else if (argument.starts_with("--seed=")) {
      seed = std::strtoull(argv[index] + 7, nullptr, 10);
    } else {
      arguments.emplace_back(argument);
    }
  }
  if (arguments.empty()) {
    std::fprintf(stderr, "Usage: %s [--mutations=N] [--seed=N] FILE|FOLDER...\n", argv[0]);
    return 2;
  }
  if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(tallyrig::keepRunningInput);
  std::signal(SIGABRT, tallyrig::onAbort);
  return tallyrig::fuzz(mutations, seed, arguments);
}
