// The system log. Any thread may log; logging never raises, never waits and never ends the
// process: an entry that cannot be written is lost.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

namespace velmora {

class Logger {
 public:
  using Argument = std::variant<std::string_view, long>;
  using Arguments = std::initializer_list<Argument>;

  // Entries carry `subsystem` and `category`.
  Logger(std::string subsystem, std::string category);

  // Logs at default level. `format` takes one argument for each "%{public}s" (text) and
  // "%{public}ld" (number) in it, in order.
  void log(std::string_view format, Arguments arguments = {}) const noexcept;

  // The same at error level.
  void error(std::string_view format, Arguments arguments = {}) const noexcept;

 private:
  std::string subsystem_;
  std::string category_;
};

}  // namespace velmora
