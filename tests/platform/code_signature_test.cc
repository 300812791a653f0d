// Signatures made with the openssl command, by leaves of no authority: reading them is all that
// is tested here, not trust.
#include "platform/linux/code_signature.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

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
  CodeSignatureTest() {
    folder_.write("config", "[req]\ndistinguished_name = subject\n[subject]\n");
    for (const std::string leaf : {"one", "two"}) {
      openssl("req -x509 -config config -nodes -newkey ec -pkeyopt ec_paramgen_curve:P-256 -subj " +
              std::string("/OU=TEAM42 -keyout ") + leaf + ".key -out " + leaf + ".pem");
    }
  }

  // What `openssl cms` makes of `content`.
  std::string make(const std::string& content, const std::string& options) const {
    folder_.write("content", content);
    openssl("cms " + options + " -binary -in content -out signature");
    std::ifstream file(folder_ / "signature", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::string sign(const std::string& content,
                   const std::string& options = "-nodetach -outform DER") const {
    return make(content, "-sign -md sha256 -signer one.pem -inkey one.key " + options);
  }

 private:
  void openssl(const std::string& arguments) const {
    const std::string command = "cd " + folder_ / "" + " && openssl " + arguments + " 2>errors";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;  // NOLINT(concurrency-mt-unsafe)
  }

  const TemporaryFolder folder_;
};

TEST_F(CodeSignatureTest, misreadsSignatureOrTakesItForAnotherClients) {
  const auto signature = CodeSignature::parse(sign(description()));
  ASSERT_TRUE(signature.has_value());
  EXPECT_EQ(signature->executableSize(), 4096U);
  EXPECT_EQ(signature->executableDigest()[4], 0xFF);
  EXPECT_FALSE(signature->isTrusted());
  const std::string team = "certificate leaf[subject.OU] = ";
  const std::pair<std::string, bool> cases[] = {
      {"identifier \"com.velmora.app\" and " + team + "\"TEAM42\"", true},
      {"identifier \"com.velmora.app2\" and " + team + "\"TEAM42\"", false},
      {"identifier \"com.velmora.ap\"", false},
      {"identifier \"com.velmora.app\" and " + team + "\"OTHER1\"", false},
      {team + "\"\"", false}};
  for (const auto& [text, satisfied] : cases) {
    EXPECT_EQ(CodeRequirement::parse(text).isSatisfiedBy(*signature), satisfied) << text;
  }
}

// The tables hold several cases to a line, which clang-format would spread.
// clang-format off

TEST_F(CodeSignatureTest, takesMessageThatIsNotOneSignersOwnDescription) {
  const std::string der = "-outform DER ", right = sign(description());
  const std::string messages[] = {
      "", right + '\0', right + right, right.substr(0, right.size() - 1),
      sign(description(), der),  // the content is not enclosed
      sign(description(), der + "-nodetach -nocerts"),
      sign(description(), der + "-nodetach -signer two.pem -inkey two.key"),
      sign(description(), "-nodetach -outform PEM"),
      make(description(), "-data_create " + der), make(description(), "-digest_create " + der)};
  for (const std::string& message : messages) {
    EXPECT_FALSE(CodeSignature::parse(message).has_value()) << testing::PrintToString(message);
  }
  for (const std::string& content : {
      description() + "\n", "\n" + description(), description(""), description("a", "1 "),
      description("a", "18446744073709551616"), description("a", "1", digest.substr(2)),
      description("a", "1", digest.substr(1) + "g"), description(std::string(66000, 'a'))}) {
    EXPECT_FALSE(CodeSignature::parse(sign(content)).has_value()) << content;
  }
}

// clang-format on

}  // namespace
}  // namespace velmora
