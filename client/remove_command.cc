#include "client/remove_command.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iterator>

#include "client/asking.h"
#include "client/confirmation.h"
#include "client/item_argument.h"
#include "client/item_listing.h"
#include "client/printable_text.h"
#include "platform/json.h"
#include "platform/xpc.h"
#include "protocol/operations.h"
#include "removal/background_item_archive.h"

namespace velmora {
namespace {

using Keys = std::vector<std::string>;

// One item and what is known of it, in lines that begin with `indent`.
std::string itemText(const std::string& key, const ItemListing& listing, const char* indent) {
  std::string text = indent + printableText(key) + "\n";
  const Keys obstacles = obstaclesTo(listing, key);
  for (const std::string& obstacle : obstacles) {
    text += std::string(indent) + "  cannot be removed: " + obstacle + "\n";
  }
  if (!obstacles.empty()) return text;
  for (const auto& file : filesOfItem(listing, key)) {
    text += std::string(indent) + "  " + printableText(file.native()) + "\n";
  }
  return text;
}

Keys withObstacles(const Keys& keys, const ItemListing& listing) {
  Keys found;
  std::ranges::copy_if(keys, std::back_inserter(found),
                       [&](const std::string& key) { return !obstaclesTo(listing, key).empty(); });
  return found;
}

std::string question(const Keys& keys, const ItemListing& listing) {
  std::string text = "To be stopped, archived and deleted:\n";
  for (const std::string& key : keys) text += itemText(key, listing, "  ");
  if (!withObstacles(keys, listing).empty()) {
    text += "One item that cannot be removed refuses them all.\n";
  }
  return text;
}

ExitStatus showOnly(const CommandLine& commandLine, const Keys& keys, const ItemListing& listing) {
  const Keys refused = withObstacles(keys, listing);
  const Keys removed;
  std::string message;
  for (const std::string& key : refused) {
    for (const std::string& obstacle : obstaclesTo(listing, key)) {
      if (!message.empty()) message += '\n';
      message.append(key).append(": ").append(obstacle);
    }
  }
  printOutcome(commandLine, refused.empty(), message, 0, &removed);
  if (!commandLine.has(Command::json)) {
    std::printf("%sNothing was done.\n", question(keys, listing).c_str());
  }
  return refused.empty() ? ExitStatus::done : ExitStatus::notDone;
}

Data requestFor(const Keys& keys) {
  const std::string json = encodeStringArray(keys);
  const auto* bytes = reinterpret_cast<const std::byte*>(json.data());
  return {bytes, bytes + json.size()};
}

Keys removedKeys(const Data& response) {
  return decodeStringArray({reinterpret_cast<const char*>(response.data()), response.size()});
}

Answer callHelper(VelmoraMaintenanceHelperXPC& helper, const Keys& keys) {
  Answer answer;
  helper.removeLegacyBackgroundItems(
      requestFor(keys), RemovalReply([&](bool ok, const auto& response, const auto& message) {
        answer = {ok, message.value_or("The helper gave no reason."), response.value_or(Data())};
      }));
  return answer;
}

// The helper names nothing when it fails, although some items may have been removed before.
void reportWhatIsGone(const CommandLine& commandLine, const Keys& keys, const ItemListing& before,
                      const std::string& message, double seconds) {
  const ItemListing after = listItemsOfThisUser();
  Keys gone;
  for (const std::string& key : keys) {
    const char* state = "not listed before";
    if (!filesOfItem(before, key).empty()) {
      const bool isGone = filesOfItem(after, key).empty();
      state = isGone ? "gone" : "still there";
      if (isGone) gone.push_back(key);
    }
    if (!commandLine.has(Command::json)) std::printf("%s: %s\n", printableText(key).c_str(), state);
  }
  printOutcome(commandLine, false, message, seconds, &gone);
}

void reportRemoved(const CommandLine& commandLine, const Keys& removed, const Progress& progress) {
  progress.conclude();
  printOutcome(commandLine, true, "", progress.elapsedSeconds(), &removed);
  if (commandLine.has(Command::json)) return;
  for (const std::string& key : removed) std::printf("removed %s\n", printableText(key).c_str());
  std::printf("Archived in a new folder of %s, which only root can read.\n",
              defaultArchiveBaseDirectory().c_str());
}

}  // namespace

ExitStatus runRemoveCommand(const CommandLine& commandLine) {
  const ItemListing before = listItemsOfThisUser();
  const Keys keys = itemKeysOf(commandLine.operands, before);
  if (commandLine.has(Command::dryRun)) return showOnly(commandLine, keys, before);
  if (!isAgreedTo(commandLine, question(keys, before) + "Remove?")) {
    std::fputs("velmoractl: nothing was removed\n", stderr);
    return ExitStatus::notDone;
  }

  Progress progress("Background item removal", RemovalBudgetSeconds,
                    "'velmoractl list' shows what is left.", commandLine.has(Command::json));
  Answer answer;
  try {
    answer = askHelper(progress, commandLine.waitSeconds,
                       [&](auto& helper) { return callHelper(helper, keys); });
  } catch (const XPCConnectionError& error) {
    // It may have begun before it ended.
    reportWhatIsGone(commandLine, keys, before, error.errorDescription(),
                     progress.elapsedSeconds());
    throw;
  }
  if (answer.ok) {
    reportRemoved(commandLine, removedKeys(answer.response), progress);
    return ExitStatus::done;
  }
  const ExitStatus status = reportRefusal(answer);
  if (status != ExitStatus::busy) {
    for (const std::string& key : withObstacles(keys, before)) {
      std::fputs(itemText(key, before, "  ").c_str(), stderr);
    }
  }
  reportWhatIsGone(commandLine, keys, before, answer.message, progress.elapsedSeconds());
  return status;
}

}  // namespace velmora
