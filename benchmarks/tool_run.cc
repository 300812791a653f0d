// tool_run: one run of a tool that exits at once, by our runner, barely, and by GLib; from as many
// threads at a time as the subject's name ends with.
#include <gio/gio.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "benchmarks/subject.h"
#include "benchmarks/tool_floor.h"
#include "runner/helper_command_runner.h"

namespace velmora::bench {
namespace {

constexpr const char* tool = "/usr/bin/true";

void runOurs() {
  require(HelperCommandRunner().run(tool, {}, 60).succeeded(), tool);
}

void runBarely() {
  require(runToolBarely(tool, {}) == 0, tool);
}

void runWithGLib() {
  const std::unique_ptr<GSubprocess, decltype(&g_object_unref)> process(
      g_subprocess_new(static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_SILENCE |
                                                     G_SUBPROCESS_FLAGS_STDERR_PIPE),
                       nullptr, tool, nullptr),
      &g_object_unref);
  require(process != nullptr, tool);
  char* words = nullptr;
  require(
      g_subprocess_communicate_utf8(process.get(), nullptr, nullptr, nullptr, &words, nullptr) != 0,
      tool);
  g_free(words);
  require(g_subprocess_get_successful(process.get()) != 0, tool);
}

// `count` runs in all.
Subject fromThreads(void (*run)(), std::size_t threadCount) {
  return [=](std::size_t count) {
    return secondsOf([=] {
      std::vector<std::jthread> threads;
      for (std::size_t thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([run, share = count / threadCount] {
          for (std::size_t i = 0; i < share; ++i) run();
        });
      }
    });
  };
}

}  // namespace
}  // namespace velmora::bench

int main() {
  using namespace velmora::bench;  // NOLINT(google-build-using-namespace)
  Subjects subjects;
  for (const std::size_t threads : {1U, 4U, 16U}) {
    const std::string suffix = std::to_string(threads);
    subjects["ours" + suffix] = fromThreads(runOurs, threads);
    subjects["floor" + suffix] = fromThreads(runBarely, threads);
    subjects["glib" + suffix] = fromThreads(runWithGLib, threads);
  }
  return obey(subjects);
}
