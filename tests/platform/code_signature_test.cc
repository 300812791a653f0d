// Signatures made with the openssl command, by leaves of no authority: reading them is all that
// is tested here, not trust.
#include "platform/linux/code_signature.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>

#include "platform/linux/code_requirement.h"
#include "temporary_folder.h"

namespace velmora {
namespace {

const std::string digest = "00017f80ff" + std::string(47, 'a') + "09bCDeF";

std::string description(const std::string& identifier = "com.velmora.app",
                        const std::string& size = "4096", const std::string& hex = digest) {
  return "identifier=" + identifier + "\nsize=" + size + "\nsha256=" + hex + "\n";
}

class CodeSignatureTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder = std::make_unique<TemporaryFolder>();
    folder->write("config", "[req]\ndistinguished_name = subject\n[subject]\n");
    makeLeaf("one", "/CN=Leaf/OU=TEAM42");
    makeLeaf("two", "/CN=Leaf/OU=TEAM42/OU=OTHER1");
    makeLeaf("none", "/CN=Leaf/O=TEAM42");
  }
  static void TearDownTestSuite() { folder.reset(); }

  static std::string sign(const std::string& content, const std::string& leaf = "one",
                          const std::string& options = "-binary -nodetach -outform DER") {
    return make(content,
                "-sign -md sha256 -signer " + leaf + ".pem -inkey " + leaf + ".key " + options);
  }

  // What `openssl cms` makes of `content`.
  static std::string make(const std::string& content, const std::string& options) {
    folder->write("content", content);
    openssl("cms " + options + " -in content -out signature");
    std::ifstream file(*folder / "signature", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  static void makeLeaf(const std::string& name, const std::string& subject) {
    openssl(
        "req -x509 -config config -days 2 -nodes -newkey ec -pkeyopt ec_paramgen_curve:P-256 "
        "-subj " +
        subject + " -keyout " + name + ".key -out " + name + ".pem");
  }

  static void openssl(const std::string& arguments) {
    const std::string command = "cd " + *folder / "" + " && openssl " + arguments + " 2>errors";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;  // NOLINT(concurrency-mt-unsafe)
  }

  static inline std::unique_ptr<TemporaryFolder> folder;
};

TEST_F(CodeSignatureTest, misreadsWhatSignatureSays) {
  const auto signature = CodeSignature::parse(sign(description()));
  ASSERT_TRUE(signature.has_value());
  EXPECT_EQ(signature->identifier(), "com.velmora.app");
  EXPECT_EQ(signature->executableSize(), 4096U);
  EXPECT_EQ(signature->executableDigest()[4], 0xFF);
  EXPECT_EQ(signature->teamIdentifier(), "TEAM42");
  EXPECT_FALSE(signature->isTrusted());
}

// The tables hold several cases to a line, which clang-format would spread.
// clang-format off

TEST_F(CodeSignatureTest, takesContentThatIsNotThreeRightLines) {
  const std::string right = description();
  const std::string contents[] = {
      std::string(), right + "\n", right + "size=1\n", right.substr(0, right.size() - 1),
      "\n" + right, right.substr(right.find('\n') + 1), right.substr(0, right.find("sha256=")),
      "size=1\nidentifier=a\nsha256=" + digest + "\n", description(""), description("a", ""),
      description("a", "-1"), description("a", "+1"), description("a", "1 "),
      description("a", "0x10"), description("a", "18446744073709551616"),
      description("a", "1", digest + "00"),
      description("a", "1", digest.substr(2)), description("a", "1", digest.substr(1) + "g"),
      description("a", "1", digest + "\r"), description(std::string(66000, 'a'))};
  for (const std::string& content : contents) {
    EXPECT_FALSE(CodeSignature::parse(sign(content)).has_value()) << content;
  }
}

TEST_F(CodeSignatureTest, takesMessageThatIsNotOneSignersOwn) {
  const std::string der = "-outform DER -binary ", right = sign(description());
  std::string nested;
  while (nested.size() < CodeSignature::maximumBytes) nested += "\x30\x80";
  const std::string messages[] = {
      std::string(), right + '\0', right + right, nested,
      sign(description(), "one", der),  // the content is not enclosed
      sign(description(), "one", der + "-nodetach -nocerts"),
      sign(description(), "one", der + "-nodetach -signer two.pem -inkey two.key"),
      sign(description(), "one", "-binary -nodetach -outform PEM"),
      make(description(), "-data_create " + der), make(description(), "-digest_create " + der)};
  for (const std::string& message : messages) {
    EXPECT_FALSE(CodeSignature::parse(message).has_value()) << testing::PrintToString(message);
  }
  for (std::size_t size = 0; size < right.size(); ++size) {
    EXPECT_FALSE(CodeSignature::parse(right.substr(0, size)).has_value()) << size;
  }
}

// clang-format on

TEST_F(CodeSignatureTest, satisfiesRequirementOfAnotherClient) {
  const auto one = CodeSignature::parse(sign(description()));
  ASSERT_TRUE(one);
  const std::string team = "certificate leaf[subject.OU] = ";
  const std::pair<std::string, bool> cases[] = {
      {"identifier \"com.velmora.app\" and " + team + "\"TEAM42\"", true},
      {team + "\"TEAM42\" and identifier \"com.velmora.app\"", true},
      {"identifier \"com.velmora.app2\" and " + team + "\"TEAM42\"", false},
      {"identifier \"com.velmora.ap\"", false},
      {"identifier \"com.velmora.App\"", false},
      {"identifier \"com.velmora.app\" and " + team + "\"OTHER1\"", false},
      {team + "\"team42\"", false},
      {team + "\"\"", false},
  };
  for (const auto& [text, satisfied] : cases) {
    EXPECT_EQ(CodeRequirement::parse(text).isSatisfiedBy(*one), satisfied) << text;
  }
  for (const char* leaf : {"two", "none"}) {
    const auto signature = CodeSignature::parse(sign(description(), leaf));
    ASSERT_TRUE(signature);
    EXPECT_EQ(signature->teamIdentifier(), std::nullopt) << leaf;
    for (const std::string name : {"\"TEAM42\"", "\"OTHER1\"", "\"\""}) {
      EXPECT_FALSE(CodeRequirement::parse(team + name).isSatisfiedBy(*signature)) << leaf << name;
    }
  }
}

}  // namespace
}  // namespace velmora
