#include "benchmarks/subject.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/localized_error.h"

namespace velmora::bench {

double secondsOf(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

Subject timed(std::function<void()> once) {
  return [once = std::move(once)](std::size_t count) {
    return secondsOf([&] {
      for (std::size_t i = 0; i < count; ++i) once();
    });
  };
}

int obey(const Subjects& subjects) {
  try {
    std::string name;
    std::size_t count = 0;
    while (std::cin >> name >> count) {
      std::printf("%.9f\n", subjects.at(name)(count));
      std::fflush(stdout);
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "benchmark: %s\n", localizedDescription(error).c_str());
    return 1;
  }
}

void require(bool succeeded, const char* what) {
  if (!succeeded) {
    throw std::runtime_error(std::string(what) + ": " + std::generic_category().message(errno));
  }
}

}  // namespace velmora::bench
