#include "platform/log_reading.h"

#include <systemd/sd-journal.h>

#include <algorithm>
#include <memory>
#include <string_view>

namespace velmora {
namespace {

struct JournalCloser {
  void operator()(sd_journal* journal) const { ::sd_journal_close(journal); }
};
using Journal = std::unique_ptr<sd_journal, JournalCloser>;

// The whole journal, or nothing: with files left out, its silence would mean nothing.
Journal openWholeJournal() {
  sd_journal* journal = nullptr;
  if (::sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY | SD_JOURNAL_SYSTEM) < 0) return nullptr;
  Journal owner(journal);
  // 0 stands for no files at all, and files that may not be opened are passed over in silence.
  const bool hasFiles =
      ::sd_journal_has_persistent_files(journal) > 0 || ::sd_journal_has_runtime_files(journal) > 0;
  return hasFiles ? std::move(owner) : nullptr;
}

std::optional<std::string> messageOf(sd_journal* journal) {
  constexpr std::string_view prefix = "MESSAGE=";
  const void* data = nullptr;
  std::size_t size = 0;
  if (::sd_journal_get_data(journal, "MESSAGE", &data, &size) < 0 || size < prefix.size()) {
    return std::nullopt;
  }
  return std::string(static_cast<const char*>(data) + prefix.size(), size - prefix.size());
}

}  // namespace

std::optional<std::vector<std::string>> recentLogEntries(const std::string& subsystem,
                                                         std::size_t maximumEntries) {
  const Journal journal = openWholeJournal();
  if (!journal) return std::nullopt;
  const std::string match = "SUBSYSTEM=" + subsystem;
  if (::sd_journal_add_match(journal.get(), match.data(), match.size()) < 0 ||
      ::sd_journal_seek_tail(journal.get()) < 0) {
    return std::nullopt;
  }
  std::vector<std::string> entries;
  while (entries.size() < maximumEntries && ::sd_journal_previous(journal.get()) > 0) {
    if (auto message = messageOf(journal.get())) entries.push_back(*std::move(message));
  }
  std::ranges::reverse(entries);
  return entries;
}

std::string logReadingCommand(const std::string& subsystem) {
  return "journalctl SUBSYSTEM=" + subsystem;
}

}  // namespace velmora
