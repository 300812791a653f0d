#include "client/archive_command.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "client/confirmation.h"
#include "client/printable_text.h"
#include "platform/json.h"
#include "platform/utf8.h"
#include "removal/archive_restoration.h"
#include "removal/background_item_archive.h"
#include "runner/helper_command_runner.h"

namespace velmora {
namespace {

bool isRoot() {
  if (::geteuid() == 0) return true;
  std::fputs("velmoractl: the archive is root's alone; ask as root\n", stderr);
  return false;
}

// ISO 8601 in UTC, to the second. The date is one that listArchive lets through.
std::string dateText(double secondsSinceReferenceDate) {
  const auto seconds = static_cast<std::time_t>(std::floor(secondsSinceReferenceDate + 978307200));
  std::tm parts{};
  std::array<char, 32> text{};
  ::gmtime_r(&seconds, &parts);
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

JSONRecord recordOf(const ArchivedItem& item) {
  return {{"id", item.identifier},
          {"label", item.metadata.label},
          {"kind", std::string(rawValue(item.location.kind))},
          {"originalPath", item.metadata.originalPath},
          {"removedAt", dateText(item.metadata.removedAt)},
          {"clientUserIdentifier", item.metadata.clientUserIdentifier},
          {"restored", item.isRestored}};
}

std::string lineOf(const ArchivedItem& item) {
  return item.identifier + "  " + dateText(item.metadata.removedAt) + "  " +
         printableText(item.metadata.token) + "  " + printableText(item.metadata.originalPath) +
         (item.isRestored ? ", restored" : "") + "\n";
}

// The items of these identifiers, each once. Nothing, and the reasons said, when one is none.
std::vector<ArchivedItem> itemsNamed(const std::vector<std::string>& identifiers,
                                     const ArchiveListing& listing) {
  std::vector<ArchivedItem> items;
  bool isComplete = true;
  for (const std::string& identifier : identifiers) {
    const auto isMeant = [&](const ArchivedItem& item) { return item.identifier == identifier; };
    if (std::ranges::any_of(items, isMeant)) continue;
    if (std::ranges::count_if(listing.items, isMeant) == 1) {
      items.push_back(*std::ranges::find_if(listing.items, isMeant));
      continue;
    }
    isComplete = false;
    const auto damaged = std::ranges::find_if(listing.damaged, [&](const DamagedEntry& entry) {
      return entry.path.stem() == identifier;
    });
    const std::string reason = damaged != listing.damaged.end()
                                   ? "is damaged: " + damaged->reason
                                   : "is no archived item; see 'velmoractl archive list'";
    std::fprintf(stderr, "velmoractl: %s %s\n", printableText(identifier).c_str(), reason.c_str());
  }
  return isComplete ? items : std::vector<ArchivedItem>();
}

void restore(const ArchivedItem& item, bool loadsJob) {
  restoreArchivedItem(item);
  std::printf("restored %s to %s\n", printableText(item.metadata.token).c_str(),
              printableText(item.metadata.originalPath).c_str());
  noteRestoration(item);
  if (!loadsJob) return;
  loadRestoredItem(item, HelperCommandRunner());
  std::printf("loaded %s in %s\n", printableText(item.metadata.label).c_str(),
              item.location.launchDomain.c_str());
}

std::string question(const std::vector<ArchivedItem>& items) {
  std::string text = "To be put back:\n";
  for (const ArchivedItem& item : items) text += "  " + lineOf(item);
  return text + "Restore?";
}

}  // namespace

ExitStatus runArchiveListCommand(bool asJSON) {
  if (!isRoot()) return ExitStatus::notDone;
  const ArchiveListing listing = listArchive(defaultArchiveBaseDirectory());
  std::string text;
  for (const ArchivedItem& item : listing.items) {
    text += asJSON ? (text.empty() ? "\n" : ",\n") + encodeRecord(recordOf(item)) : lineOf(item);
  }
  if (asJSON) text = "[" + text + (text.empty() ? "]\n" : "\n]\n");
  std::fputs(text.c_str(), stdout);
  for (const DamagedEntry& entry : listing.damaged) {
    std::fprintf(stderr, "velmoractl: %s is damaged: %s\n",
                 printableText(entry.path.native()).c_str(), entry.reason.c_str());
  }
  return listing.damaged.empty() ? ExitStatus::done : ExitStatus::notDone;
}

ExitStatus runArchiveRestoreCommand(const CommandLine& commandLine) {
  if (!isRoot()) return ExitStatus::notDone;
  const std::vector<ArchivedItem> items =
      itemsNamed(commandLine.operands, listArchive(defaultArchiveBaseDirectory()));
  if (items.empty()) return ExitStatus::notDone;
  if (!isAgreedTo(commandLine, question(items))) {
    std::fputs("velmoractl: nothing was restored\n", stderr);
    return ExitStatus::notDone;
  }
  ExitStatus status = ExitStatus::done;
  for (const ArchivedItem& item : items) {
    try {
      restore(item, commandLine.has(Command::load));
    } catch (const LocalizedError& error) {
      std::fprintf(stderr, "velmoractl: %s: %s\n", printableText(item.metadata.token).c_str(),
                   error.errorDescription().c_str());
      status = ExitStatus::notDone;
    }
  }
  return status;
}

}  // namespace velmora
