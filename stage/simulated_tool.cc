// The one program that stands in the stage under the names of all seven system tools.
// Each call appends its path and arguments to /stage/calls.log, obeys the control file of its
// name in /stage/control, and then does what little of the real tool the stage needs: launchctl
// keeps the loaded jobs as files in /stage/launchd, the other tools succeed.
// What it cannot do or understand ends it with status 125 and a line on standard error, so that
// a mistake in a test never looks like a tool's own answer.

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Arguments = std::vector<std::string>;

const std::string stageDirectory = "/stage/";
constexpr int stageFailure = 125;
constexpr int noSuchProcess = 3;
constexpr int inputOutputError = 5;
constexpr int usageError = 64;
constexpr int serviceNotFound = 113;

void writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    bytes.remove_prefix(static_cast<size_t>(written));
  }
}

// Ends at once: what a sanitizer does at a regular exit could change the status.
[[noreturn]] void finish(int status, const std::string& message = "") {
  writeAll(STDERR_FILENO, message);
  std::_Exit(status);
}

[[noreturn]] void failStage(const std::string& message) {
  finish(stageFailure, "simulated tool: " + message + "\n");
}

std::string shellQuoted(const std::string& word) {
  constexpr std::string_view plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_@%+=:,./-";
  if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
  std::string quoted = "'";
  for (const char character : word) {
    if (character == '\'') {
      quoted += "'\"'\"'";
    } else {
      quoted += character;
    }
  }
  return quoted + "'";
}

void recordCall(const Arguments& call) {
  std::string line;
  for (const std::string& word : call) {
    if (!line.empty()) line += ' ';
    line += shellQuoted(word);
  }
  line += '\n';
  const std::string log = stageDirectory + "calls.log";
  const int descriptor = open(log.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (descriptor < 0) {
    failStage("cannot open " + log + ": " + std::generic_category().message(errno));
  }
  if (write(descriptor, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    failStage("cannot append to " + log);
  }
  close(descriptor);
}

std::optional<std::vector<std::string>> linesOf(const std::string& path) {
  std::ifstream file(path);
  if (!file) return std::nullopt;
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

template <typename Number>
Number parsed(const std::string& text, Number lowest, Number highest) {
  Number number{};
  std::istringstream stream(text);
  const bool isWhole = (stream >> std::noskipws >> number) && stream.peek() == EOF;
  if (!isWhole || !(number >= lowest && number <= highest)) {
    failStage("control value out of range: " + text);
  }
  return number;
}

std::string unescaped(const std::string& text) {
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      bytes += text[i];
      continue;
    }
    const char escape = ++i < text.size() ? text[i] : '\0';
    int code = 0;
    if (escape == 'n') {
      bytes += '\n';
    } else if (escape == 't') {
      bytes += '\t';
    } else if (escape == '\\') {
      bytes += '\\';
    } else if (const char* digits = text.data() + i + 1;
               escape == 'x' && text.size() - i > 2 &&
               std::from_chars(digits, digits + 2, code, 16).ptr == digits + 2 && code >= 0) {
      bytes += static_cast<char>(code);
      i += 2;
    } else {
      failStage("control escape not understood: " + text);
    }
  }
  return bytes;
}

void dieBySignal(int number) {
  const rlimit noCoreDump{0, 0};
  setrlimit(RLIMIT_CORE, &noCoreDump);
  signal(number, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, number);
  pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  kill(getpid(), number);
}

void obeyLine(const std::string& line) {
  const size_t equals = line.find('=');
  const std::string verb = line.substr(0, equals);
  const std::string value = equals == std::string::npos ? "" : line.substr(equals + 1);
  if (line.empty()) return;
  if (line == "ignore-term") {
    signal(SIGTERM, SIG_IGN);
  } else if (verb == "stderr") {
    writeAll(STDERR_FILENO, unescaped(value));
  } else if (verb == "sleep") {
    std::this_thread::sleep_for(std::chrono::duration<double>(parsed(value, 0.0, 1e6)));
  } else if (verb == "run") {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread only.
    if (std::system(value.c_str()) == -1) failStage("cannot run: " + value);
  } else if (verb == "exit") {
    finish(parsed(value, 0, 255));
  } else if (verb == "signal") {
    dieBySignal(parsed(value, 1, SIGRTMAX));
  } else {
    failStage("control line not understood: " + line);
  }
}

void obeyControl(const std::string& tool, const Arguments& call) {
  const std::string control = stageDirectory + "control/" + tool;
  std::optional<std::vector<std::string>> lines;
  if (tool == "launchctl" && call.size() > 1 &&
      (call[1] == "print" || call[1] == "bootout" || call[1] == "bootstrap")) {
    lines = linesOf(control + "." + call[1]);
  }
  if (!lines) lines = linesOf(control);
  if (!lines) return;
  for (const std::string& line : *lines) obeyLine(line);
}

bool isDomain(const std::string& text) {
  return text == "system" || (text.starts_with("gui/") && text.size() > 4 &&
                              text.find_first_not_of("0123456789", 4) == std::string::npos);
}

bool isLabel(const std::string& text) {
  return !text.empty() && text != "." && text != ".." && text.find('/') == std::string::npos;
}

struct ServiceTarget {
  std::string domain;
  std::string label;

  std::string jobFile() const { return stageDirectory + "launchd/" + domain + "/" + label; }
};

ServiceTarget parseTarget(const std::string& text) {
  const size_t slash = text.rfind('/');
  if (slash != std::string::npos) {
    ServiceTarget target{text.substr(0, slash), text.substr(slash + 1)};
    if (isDomain(target.domain) && isLabel(target.label)) return target;
  }
  finish(usageError, "Unrecognized target specifier: " + text + "\n");
}

void printJob(const std::string& name) {
  const ServiceTarget target = parseTarget(name);
  if (access(target.jobFile().c_str(), F_OK) == 0) {
    writeAll(STDOUT_FILENO, name + " = {\n\tactive count = 1\n\tstate = running\n}\n");
    return;
  }
  std::string domain = target.domain;
  if (domain != "system") domain.replace(domain.find('/'), 1, ": ").insert(0, "user ");
  finish(serviceNotFound, "Bad request.\nCould not find service \"" + target.label +
                              "\" in domain for " + domain + "\n");
}

void bootOut(const std::string& name) {
  if (unlink(parseTarget(name).jobFile().c_str()) == 0) return;
  if (errno != ENOENT && errno != ENOTDIR) failStage("cannot unload " + name);
  finish(noSuchProcess, "Boot-out failed: 3: No such process\n");
}

// plistlib is strict XML; launchd also loads files that hold "--" in comments or a bare "&".
constexpr const char* labelReader = R"(
import html, plistlib, re, sys
data = open(sys.argv[1], 'rb').read()
try:
    label = plistlib.loads(data)['Label']
except Exception:
    text = re.sub('<!--.*?-->', '', data.decode('utf-8'), flags=re.S)
    label = html.unescape(
        re.search(r'<key>Label</key>\s*<string>(.*?)</string>', text, re.S).group(1))
sys.stdout.buffer.write(label.encode('utf-8'))
)";

std::string labelOf(const std::string& propertyList) {
  const std::string command = "/usr/bin/python3 -I -c " + shellQuoted(labelReader) + " " +
                              shellQuoted(propertyList) + " 2>/dev/null";
  FILE* output = popen(command.c_str(), "re");
  if (output == nullptr) failStage("cannot start python3");
  std::string label;
  for (int byte = std::fgetc(output); byte != EOF; byte = std::fgetc(output)) {
    label += static_cast<char>(byte);
  }
  return pclose(output) == 0 ? label : "";
}

void bootstrap(const std::string& domain, const std::string& propertyList) {
  if (!isDomain(domain)) finish(usageError, "Unrecognized target specifier: " + domain + "\n");
  const ServiceTarget target{domain, labelOf(propertyList)};
  if (isLabel(target.label)) {
    const std::string file = target.jobFile();
    for (size_t i = file.find('/', stageDirectory.size()); i != std::string::npos;
         i = file.find('/', i + 1)) {
      mkdir(file.substr(0, i).c_str(), 0755);
    }
    if (const int job = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        job >= 0) {
      close(job);
      return;
    }
  }
  finish(inputOutputError, "Bootstrap failed: 5: Input/output error\n");
}

void launchctl(const Arguments& call) {
  const std::string subcommand = call.size() > 1 ? call[1] : "";
  if (subcommand == "print" && call.size() == 3) {
    printJob(call[2]);
  } else if (subcommand == "bootout" && call.size() == 3) {
    bootOut(call[2]);
  } else if (subcommand == "bootstrap" && call.size() == 4) {
    bootstrap(call[2], call[3]);
  } else {
    finish(usageError, "Usage: launchctl print|bootout TARGET | bootstrap DOMAIN PATH\n");
  }
}

}  // namespace

int main(int count, char** words) {
  const Arguments call(words, words + count);
  if (call.empty()) failStage("called without a name");
  recordCall(call);
  const std::string tool = call[0].substr(call[0].rfind('/') + 1);
  obeyControl(tool, call);
  if (tool == "launchctl") launchctl(call);
  finish(0);
}
