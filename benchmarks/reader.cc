// reader FILE…: the label out of each property list in memory, by our reader and by libplist; and
// expat, which only goes through it with empty handlers. The first FILE's subjects end with 0.
#include <expat.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "benchmarks/libplist_label.h"
#include "benchmarks/subject.h"
#include "platform/process.h"
#include "platform/property_list.h"

namespace velmora::bench {
namespace {

std::string contentOf(const char* path) {
  std::ifstream file(path, std::ios::binary);
  require(file.good(), path);
  return {std::istreambuf_iterator<char>(file), {}};
}

void readOurs(const std::string& bytes) {
  require(propertyListString(bytes, "Label", {}).outcome == PropertyListString::Outcome::found,
          "our reader");
}

void readWithLibplist(const std::string& bytes) {
  require(!labelByLibplist(bytes).empty(), "libplist");
}

void onStart(void* /*data*/, const XML_Char* /*name*/, const XML_Char** /*attributes*/) {}
void onEnd(void* /*data*/, const XML_Char* /*name*/) {}
void onText(void* /*data*/, const XML_Char* /*text*/, int /*length*/) {}

void readWithExpat(const std::string& bytes) {
  const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
      XML_ParserCreate(nullptr), &XML_ParserFree);
  XML_SetElementHandler(parser.get(), onStart, onEnd);
  XML_SetCharacterDataHandler(parser.get(), onText);
  require(XML_Parse(parser.get(), bytes.data(), static_cast<int>(bytes.size()), 1) == XML_STATUS_OK,
          "expat");
}

}  // namespace
}  // namespace velmora::bench

int main(int count, char** words) {
  using namespace velmora::bench;  // NOLINT(google-build-using-namespace)
  velmora::prepareProcess();
  Subjects subjects;
  for (int i = 1; i < count; ++i) {
    const std::string bytes = contentOf(words[i]);
    const std::string suffix = std::to_string(i - 1);
    subjects["ours" + suffix] = timed([bytes] { readOurs(bytes); });
    subjects["libplist" + suffix] = timed([bytes] { readWithLibplist(bytes); });
    subjects["expat" + suffix] = timed([bytes] { readWithExpat(bytes); });
  }
  return obey(subjects);
}
