#include "client/remove_command.h"

#include <cstddef>
#include <cstdio>
#include <optional>

#include "client/confirmation.h"
#include "client/item_listing.h"
#include "client/printable_text.h"
#include "client/progress.h"
#include "platform/json.h"
#include "platform/xpc.h"
#include "protocol/build_constants.h"
#include "protocol/operations.h"
#include "removal/background_item_archive.h"

namespace velmora {
namespace {

struct Answer {
  bool ok = false;
  std::optional<Data> response;
  std::optional<std::string> message;
};

std::string question(const std::vector<std::string>& keys, const ItemListing& listing) {
  std::string text = "To be stopped, archived and deleted:\n";
  for (const std::string& key : keys) {
    text += "  " + printableText(key) + "\n";
    const auto files = filesOfItem(listing, key);
    if (files.empty()) text += "    in no file that you can read\n";
    for (const auto& file : files) text += "    " + printableText(file.native()) + "\n";
  }
  return text + "Remove?";
}

Data requestFor(const std::vector<std::string>& keys) {
  const std::string json = encodeStringArray(keys);
  const auto* bytes = reinterpret_cast<const std::byte*>(json.data());
  return {bytes, bytes + json.size()};
}

std::vector<std::string> removedKeys(const Data& response) {
  return decodeStringArray({reinterpret_cast<const char*>(response.data()), response.size()});
}

Answer askHelper(VelmoraMaintenanceHelperXPC& helper, const std::vector<std::string>& keys,
                 Progress& progress) {
  Answer answer;
  progress.showWhile([&] {
    helper.removeLegacyBackgroundItems(
        requestFor(keys), RemovalReply([&](bool ok, const auto& response, const auto& message) {
          answer = {ok, response, message};
        }));
  });
  return answer;
}

// The helper names nothing when it fails, although some items may have been removed before.
void reportWhatIsGone(const std::vector<std::string>& keys, const ItemListing& before) {
  const ItemListing after = listItemsOfThisUser();
  for (const std::string& key : keys) {
    const char* state = "not listed before";
    if (!filesOfItem(before, key).empty()) {
      state = filesOfItem(after, key).empty() ? "gone" : "still there";
    }
    std::printf("%s: %s\n", printableText(key).c_str(), state);
  }
}

void reportRemoved(const Data& response) {
  for (const std::string& key : removedKeys(response)) {
    std::printf("removed %s\n", printableText(key).c_str());
  }
  std::printf("Archived in a new folder of %s, which only root can read.\n",
              defaultArchiveBaseDirectory().c_str());
}

}  // namespace

ExitStatus runRemoveCommand(const std::vector<std::string>& keys, bool isConfirmed) {
  const ItemListing before = listItemsOfThisUser();
  if (!isConfirmed && canAskForConfirmation() && !confirm(question(keys, before))) {
    std::fputs("velmoractl: nothing was removed\n", stderr);
    return ExitStatus::notDone;
  }

  const auto helper = remoteObjectProxy(HelperServiceName);
  Progress progress("Background item removal", RemovalBudgetSeconds);
  Answer answer;
  try {
    answer = askHelper(*helper, keys, progress);
  } catch (const XPCConnectionError&) {
    // It may have begun before it ended.
    reportWhatIsGone(keys, before);
    throw;
  }
  if (!answer.ok) {
    std::fprintf(stderr, "%s\n", answer.message.value_or("The helper gave no reason.").c_str());
    reportWhatIsGone(keys, before);
    return ExitStatus::notDone;
  }
  progress.conclude();
  reportRemoved(answer.response.value_or(Data()));
  return ExitStatus::done;
}

}  // namespace velmora
