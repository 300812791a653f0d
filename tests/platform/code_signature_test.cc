// Signatures made with the openssl command, by leaves of no authority: reading them is all that
// is tested here, not trust.
#include "platform/linux/code_signing/code_signature.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "platform/portable/code_requirement/code_requirement.h"
#include "temporary_folder.h"

namespace velmora {
namespace {

// Makes the signature `right`, and those in `bad` that must not be read as any.
constexpr char script[] = R"sh(set -e; exec 2>errors; mkdir bad
echo '[req]\ndistinguished_name=subject\n[subject]' >config
for leaf in one two; do
  openssl req -x509 -config config -nodes -newkey ec -pkeyopt ec_paramgen_curve:P-256 \
    -subj /OU=TEAM42 -keyout $leaf.key -out $leaf.pem
done
cms() { openssl cms -in content -binary -outform DER "$@"; }
sign() { cms -sign -md sha256 -signer one.pem -inkey one.key "$@"; }
printf 'identifier=com.velmora.app\nsize=4096\nsha256=00017f80ff%047d09bCDeF\n' 0 >content
sign -nodetach -out right
sign -out bad/detached
sign -nodetach -nocerts -out bad/without_certificate
sign -nodetach -signer two.pem -inkey two.key -out bad/of_two_signers
sign -nodetach -outform PEM -out bad/text
sign -nodetach -md sha1 -out bad/by_a_weak_digest
cms -data_create -out bad/of_no_signer
cms -digest_create -out bad/of_no_signer_but_digested
head -c -1 right >bad/truncated
(cat right; echo) >bad/longer
cat right right >bad/twice
: >bad/empty
for change in 1d '1!G;h;$!d' 's/=com.*/=/' 's/4096/4096 /' 's/4096/18446744073709551616/' \
  's/=0001/=01/' '$s/$/00/' '$s/.$/g/' '$p'; do
  cp content whole; sed "$change" whole >content
  sign -nodetach -out "bad/content after $(echo "$change" | tr / :)"
  mv whole content
done)sh";

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(CodeSignature, takesWhatIsNotOneSignersOwnOrForAnotherClients) {
  const TemporaryFolder folder;
  const std::string command = "cd " + folder / "" + "\n" + script;
  ASSERT_EQ(std::system(command.c_str()), 0);  // NOLINT(concurrency-mt-unsafe)
  for (const auto& file : std::filesystem::directory_iterator(folder / "bad")) {
    EXPECT_FALSE(CodeSignature::parse(contentOf(file.path())).has_value()) << file.path();
  }

  const auto signature = CodeSignature::parse(contentOf(folder / "right"));
  ASSERT_TRUE(signature.has_value());
  const std::string team = "certificate leaf[subject.OU] = ";
  const std::pair<std::string, bool> cases[] = {
      {"identifier \"com.velmora.app\" and " + team + "\"TEAM42\"", true},
      {"identifier \"com.velmora.app2\" and " + team + "\"TEAM42\"", false},
      {"identifier \"com.velmora.ap\"", false},
      {"identifier \"com.velmora.app\" and " + team + "\"TEAM4\"", false}};
  for (const auto& [text, satisfied] : cases) {
    EXPECT_EQ(CodeRequirement::parse(text).isSatisfiedBy(signature->identifier(),
                                                         signature->teamIdentifier()),
              satisfied)
        << text;
  }
}

}  // namespace
}  // namespace velmora
