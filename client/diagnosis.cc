#include "client/diagnosis.h"

#include <optional>
#include <utility>

#include "platform/code_inspection.h"
#include "platform/code_requirement_text.h"
#include "platform/log_reading.h"
#include "platform/unreachable.h"
#include "platform/xpc.h"
#include "protocol/build_constants.h"

namespace velmora {
namespace {

using State = Finding::State;
using Verdict = CodeInspection::Verdict;

// One of the two programs, and what its signature has to be.
struct Program {
  std::string name;  // at the beginning of a sentence
  std::filesystem::path path;
  std::string identifier;
  CodeInspection code;
};

Program inspected(const char* name, const std::filesystem::path& path, const char* identifier) {
  return {std::string(name) + " (" + path.string() + ")", path, identifier, inspectCode(path)};
}

std::string quoted(const std::string& text) {
  return "\"" + text + "\"";
}

std::string teamText(const Program& program) {
  const auto& team = program.code.teamIdentifier;
  return team ? "team " + quoted(*team) : "no team";
}

Finding signatureFinding(const std::string& check, const Program& program) {
  const std::string again = "Install it again, or sign it as " + quoted(program.identifier) +
                            " with a certificate of your team.";
  switch (program.code.verdict) {
    case Verdict::unreadable:
      return {check, State::unknown, program.name + " is not there, or you may not read it.",
              "Install it, or ask again as a user who may read it."};
    case Verdict::unsignedCode:
      return {check, State::problem, program.name + " carries no signature.", again};
    case Verdict::untrusted:
      return {check, State::problem,
              program.name + " is signed with a certificate that this system does not trust.",
              again};
    case Verdict::altered:
      return {check, State::problem,
              program.name + " is not the file that was signed: it has been altered since.", again};
    case Verdict::valid:
      return {check, State::ok,
              program.name + " is signed as " + quoted(program.code.identifier) + ", " +
                  teamText(program) + ".",
              ""};
  }
  unreachable();
}

// Whether the signature says anything at all.
bool isSigned(const Program& program) {
  return program.code.verdict != Verdict::unreadable &&
         program.code.verdict != Verdict::unsignedCode;
}

std::optional<Finding> identifierFinding(const std::string& check, const Program& program) {
  if (!isSigned(program) || program.code.identifier == program.identifier) return std::nullopt;
  return Finding{check, State::problem,
                 program.name + " is signed as " + quoted(program.code.identifier) + ", not as " +
                     quoted(program.identifier) + ".",
                 "Sign it as " + quoted(program.identifier) + "."};
}

std::optional<Finding> teamFinding(const Program& client, const Program& helper) {
  if (!isSigned(client) || !isSigned(helper) ||
      client.code.teamIdentifier == helper.code.teamIdentifier) {
    return std::nullopt;
  }
  return Finding{"teams", State::problem,
                 client.name + " is of " + teamText(client) + ". " + helper.name + " is of " +
                     teamText(helper) + ".",
                 "Sign both with certificates of one team."};
}

// The helper's own question, asked of the files as they are.
Finding requirementFinding(const Program& client, const Program& helper) {
  const std::string check = "requirement";
  if (helper.code.verdict == Verdict::unreadable) {
    return {check, State::unknown, "What the helper demands depends on its signature.", ""};
  }
  const std::optional<std::string> requirement =
      helper.code.verdict == Verdict::valid
          ? codeRequirementText(ClientBundleIdentifier, helper.code.teamIdentifier.value_or(""))
          : std::nullopt;
  if (!requirement) {
    return {check, State::problem,
            "Without a valid signature that names a team, the helper lets nobody in.",
            "Sign " + helper.path.string() + " and start it again."};
  }
  if (codeSatisfies(client.path, *requirement)) {
    return {check, State::ok, client.name + " satisfies what the helper demands.", ""};
  }
  return {check, State::problem,
          client.name + " does not satisfy what the helper demands: " + *requirement,
          "Mend what is said about its signature."};
}

std::vector<Finding> signatureFindings(const std::filesystem::path& clientPath,
                                       const std::filesystem::path& helperPath) {
  const Program client = inspected("This program", clientPath, ClientBundleIdentifier);
  const Program helper = inspected("The helper", helperPath, HelperServiceName);
  std::vector<Finding> findings = {signatureFinding("client signature", client),
                                   signatureFinding("helper signature", helper)};
  for (auto& more : {identifierFinding("client identifier", client),
                     identifierFinding("helper identifier", helper), teamFinding(client, helper)}) {
    if (more) findings.push_back(*more);
  }
  findings.push_back(requirementFinding(client, helper));
  return findings;
}

Finding versionFinding(const std::string& version) {
  if (version == ProtocolVersion) {
    return {"helper", State::ok, "It lets this client in and speaks protocol " + version + ".", ""};
  }
  return {
      "helper", State::problem,
      "It speaks protocol " + quoted(version) + ", this client " + quoted(ProtocolVersion) + ".",
      "Install a helper and a client of one build."};
}

// Whether there is a service, and whether it answers. Where no call could be made, nothing is known
// of the service.
std::vector<Finding> serviceFindings() {
  const std::string service = HelperServiceName;
  std::vector<Finding> findings = {{"service", State::ok, service + " can be reached.", ""}};
  try {
    remoteObjectProxy(service)->protocolVersionWithReply(VersionReply(
        [&](const std::string& version) { findings.push_back(versionFinding(version)); }));
  } catch (const XPCConnectionError& error) {
    if (error.cause() == XPCConnectionError::Cause::notReached) {
      return {{"service", State::problem, error.errorDescription(),
               "Install or start the service " + service + "."}};
    }
    if (error.cause() == XPCConnectionError::Cause::other) findings.clear();
    findings.push_back({"helper", State::problem, error.errorDescription(),
                        "Mend the problems below. Where there is none, what runs is older than "
                        "what is installed, or the helper ends at once: start both again, and "
                        "look at the log."});
  }
  return findings;
}

Finding logFinding() {
  constexpr std::size_t shownEntries = 3;
  const std::string command = "Read all of it: " + logReadingCommand(HelperServiceName);
  const auto entries = recentLogEntries(HelperServiceName, shownEntries);
  if (!entries) {
    return {"log", State::unknown, "There is no log that you may read.",
            "As an administrator: " + logReadingCommand(HelperServiceName)};
  }
  if (entries->empty()) return {"log", State::ok, "The helper has written nothing.", ""};
  std::string text = "The last entries:";
  for (const std::string& entry : *entries) text += " " + quoted(entry);
  return {"log", State::ok, text + ".", command};
}

}  // namespace

std::vector<Finding> diagnose(const std::filesystem::path& client,
                              const std::filesystem::path& helper) {
  std::vector<Finding> findings = serviceFindings();
  for (Finding& finding : signatureFindings(client, helper)) findings.push_back(std::move(finding));
  findings.push_back(logFinding());
  return findings;
}

}  // namespace velmora
