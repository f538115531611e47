// Drives a fuzz target where the compiler brings no driver of its own: inputs of the corpus, changed at random.
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);
extern "C" void __sanitizer_set_death_callback(void (*callback)()) __attribute__((weak));

namespace {

struct Options {
  double seconds = 0;          ///< 0: without end
  unsigned long long runs = 0;  ///< 0: without end
  unsigned seed = 1;
  std::vector<std::string> corpus;
};

Options parse(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    std::string const argument = arguments[i];
    auto const valueOf = [&](char const* name) {
      return argument.starts_with(name) ? argument.c_str() + std::strlen(name) : nullptr;
    };
    if (char const* const seconds = valueOf("-max_total_time=")) {
      options.seconds = std::stod(seconds);
    } else if (char const* const runs = valueOf("-runs=")) {
      options.runs = std::stoull(runs);
    } else if (char const* const seed = valueOf("-seed=")) {
      options.seed = static_cast<unsigned>(std::stoul(seed));
    } else if (argument[0] != '-') {
      options.corpus.push_back(argument);
    }
  }
  return options;
}

std::string contentsOf(std::filesystem::path const& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> readCorpus(std::vector<std::string> const& names) {
  std::vector<std::string> inputs;
  for (std::string const& name : names) {
    if (!std::filesystem::is_directory(name)) {
      inputs.push_back(contentsOf(name));
      continue;
    }
    for (auto const& entry : std::filesystem::directory_iterator(name)) inputs.push_back(contentsOf(entry.path()));
  }
  return inputs;
}

class Mutator {
 public:
  Mutator(std::vector<std::string> inputs, unsigned seed) : _inputs(std::move(inputs)), _random(seed) {}

  std::string next() {
    std::string input = any();
    for (std::size_t times = 1 + upTo(4); times > 0 && !input.empty(); --times) change(input);
    return input;
  }

 private:
  std::size_t upTo(std::size_t end) { return _random() % end; }
  std::string const& any() { return _inputs[upTo(_inputs.size())]; }

  void change(std::string& input) {
    std::size_t const place = upTo(input.size());
    std::size_t const length = 1 + upTo(std::min<std::size_t>(input.size() - place, 32));
    switch (upTo(8)) {
      case 0:
        input[place] = static_cast<char>(input[place] ^ (1 << upTo(8)));
        break;
      case 1:
        input[place] = static_cast<char>(_random());
        break;
      case 2:
        input.erase(place, length);
        break;
      case 3:
        input.insert(place, input.substr(place, length));
        break;
      case 4:
        input.replace(place, length, pieceOf(any()));
        break;
      case 5:
        putNumber(input, place);
        break;
      case 6:
        changeDigit(input, place);
        break;
      default:
        if (upTo(8) == 0) input.resize(place);
    }
  }

  std::string pieceOf(std::string const& other) {
    if (other.empty()) return {};
    std::size_t const place = upTo(other.size());
    return other.substr(place, 1 + upTo(64));
  }

  /// One that could be a count, a length or the number of an object.
  void putNumber(std::string& input, std::size_t place) {
    std::uint32_t const numbers[] = {static_cast<std::uint32_t>(upTo(16)), static_cast<std::uint32_t>(_random()),
                                     0x7FFFFFFFU, 0xFFFFFFFFU};
    std::uint32_t const number = numbers[upTo(4)];
    if (input.size() - place >= sizeof(number)) std::memcpy(input.data() + place, &number, sizeof(number));
  }

  void changeDigit(std::string& input, std::size_t place) {
    std::size_t const digit = input.find_first_of("0123456789", place);
    if (digit != std::string::npos) input[digit] = static_cast<char>('0' + upTo(10));
  }

  std::vector<std::string> _inputs;
  std::mt19937 _random;
};

// --- The input at hand, for the case that it ends the process -----------------------------------------------------

std::string keptName;
std::string const* current = nullptr;

void keepCurrent() {
  if (current == nullptr) return;
  int const file = ::open(keptName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  [[maybe_unused]] ssize_t const written = ::write(file, current->data(), current->size());
  ::close(file);
}

void keepCurrentAndEnd(int signal) {
  keepCurrent();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

void keepWhatEndsTheProcess(std::string name) {
  keptName = std::move(name);
  if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(&keepCurrent);
  // Under a sanitizer, other signals than this are its own.
  std::signal(SIGABRT, &keepCurrentAndEnd);
  if (__sanitizer_set_death_callback == nullptr) std::signal(SIGSEGV, &keepCurrentAndEnd);
}

void run(std::string const& input) {
  current = &input;
  LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(input.data()), input.size());
  current = nullptr;
}

}  // namespace

int main(int count, char** arguments) {
  Options const options = parse(count, arguments);
  std::vector<std::string> const inputs = readCorpus(options.corpus);
  if (inputs.empty()) {
    std::fprintf(stderr, "usage: %s [-max_total_time=SECONDS] [-runs=N] [-seed=N] CORPUS\n", arguments[0]);
    return 2;
  }
  keepWhatEndsTheProcess("crash-" + std::filesystem::path(arguments[0]).filename().string());
  for (std::string const& input : inputs) run(input);
  Mutator mutator(inputs, options.seed);
  auto const start = std::chrono::steady_clock::now();
  std::chrono::duration<double> passed{};
  unsigned long long done = 0;
  for (; options.runs == 0 || done < options.runs; ++done) {
    passed = std::chrono::steady_clock::now() - start;
    if (options.seconds > 0 && passed.count() > options.seconds) break;
    run(mutator.next());
  }
  std::fprintf(stderr, "Done %llu runs in %.0f s\n", done, passed.count());
  return 0;
}
