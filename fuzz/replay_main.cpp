// The main() of a fuzz target in a build without libFuzzer: replays every
// file of the folders (or the files) named on the command line, in name
// order, so that the seed corpus and every input that once made a target fail
// run as a test. A folder that doesn't exist is skipped; names starting with
// "." are left out.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  auto add = [&](const fs::path& p) {
    if (p.filename().string().rfind('.', 0) != 0) files.push_back(p);
  };
  for (int i = 1; i < argc; ++i) {
    const fs::path arg(argv[i]);
    std::error_code ec;
    if (fs::is_directory(arg, ec)) {
      for (const auto& entry : fs::recursive_directory_iterator(arg))
        if (entry.is_regular_file()) add(entry.path());
    } else if (fs::is_regular_file(arg, ec)) {
      add(arg);
    }
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files) {
    std::ifstream in(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in.good() && !in.eof()) {
      std::fprintf(stderr, "cannot read %s\n", file.c_str());
      return 1;
    }
    // Named before it runs, so a crash shows which input it was.
    std::printf("%s (%zu bytes)\n", file.c_str(), bytes.size());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("replayed %zu inputs\n", files.size());
  // No input at all means the corpus folder was not found: that is a failure.
  return files.empty() ? 1 : 0;
}
