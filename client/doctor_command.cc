#include "client/doctor_command.h"

#include <algorithm>
#include <cstdio>

#include "client/diagnosis.h"
#include "client/printable_text.h"
#include "platform/code_inspection.h"
#include "platform/json.h"
#include "platform/unreachable.h"
#include "platform/utf8.h"
#include "protocol/build_constants.h"

namespace velmora {
namespace {

const char* stateText(Finding::State state) {
  switch (state) {
    case Finding::State::ok:
      return "ok";
    case Finding::State::problem:
      return "problem";
    case Finding::State::unknown:
      return "unknown";
  }
  unreachable();
}

JSONRecord recordOf(const Finding& finding) {
  JSONRecord record{{"check", finding.check},
                    {"state", stateText(finding.state)},
                    {"finding", replacingUncarriable(finding.text)}};
  if (!finding.remedy.empty()) record["remedy"] = replacingUncarriable(finding.remedy);
  return record;
}

std::string lineOf(const Finding& finding) {
  std::string text = std::string(stateText(finding.state)) + ": " + finding.check + ": " +
                     printableText(finding.text) + "\n";
  if (!finding.remedy.empty()) text += "    " + printableText(finding.remedy) + "\n";
  return text;
}

}  // namespace

ExitStatus runDoctorCommand(bool asJSON) {
  const std::filesystem::path helper =
      std::filesystem::path("/Library/PrivilegedHelperTools") / HelperServiceName;
  const std::vector<Finding> findings = diagnose(executableOfThisProcess(), helper);
  std::string text;
  for (const Finding& finding : findings) {
    text +=
        asJSON ? (text.empty() ? "\n" : ",\n") + encodeRecord(recordOf(finding)) : lineOf(finding);
  }
  std::fputs(asJSON ? ("[" + text + "\n]\n").c_str() : text.c_str(), stdout);
  const bool hasProblem = std::ranges::any_of(
      findings, [](const Finding& finding) { return finding.state == Finding::State::problem; });
  return hasProblem ? ExitStatus::notDone : ExitStatus::done;
}

}  // namespace velmora
