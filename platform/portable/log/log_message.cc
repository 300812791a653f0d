#include "platform/log_message.h"

namespace velmora {
namespace {

constexpr std::string_view textPlaceholder = "%{public}s";
constexpr std::string_view numberPlaceholder = "%{public}ld";

void append(std::string& message, const Logger::Argument& argument) {
  if (const auto* text = std::get_if<std::string_view>(&argument)) {
    message += *text;
  } else {
    message += std::to_string(std::get<long>(argument));
  }
}

}  // namespace

std::string logMessage(std::string_view format, Logger::Arguments arguments) {
  std::string message;
  for (const Logger::Argument& argument : arguments) {
    const std::string_view placeholder =
        std::holds_alternative<long>(argument) ? numberPlaceholder : textPlaceholder;
    const std::size_t at = format.find(placeholder);
    if (at == std::string_view::npos) break;
    message += format.substr(0, at);
    append(message, argument);
    format.remove_prefix(at + placeholder.size());
  }
  message += format;
  return message;
}

}  // namespace velmora
