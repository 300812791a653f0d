// The adapters for Apple's services on GNUstep's Foundation, with doubles of NSXPC, Security and
// os_log. Not seen here: ownership, since GNUstep's runtime knows no ARC, and what Apple's own do.
#import <Foundation/Foundation.h>
#include <Security/Security.h>
#include <gtest/gtest.h>

#include <future>
#include <mutex>

#include "darwin/doubles.h"
#include "darwin/raised_in.h"
#include "front/maintenance_helper_listener_delegate.h"
#include "front/maintenance_helper_service.h"
#include "front/operation_lock.h"
#include "platform/code_inspection.h"
#include "platform/code_signing.h"
#include "platform/darwin/foundation_text.h"
#include "platform/darwin/xpc/exported_object.h"
#include "platform/text.h"
#include "platform/xpc.h"
#include "protocol/build_constants.h"
#include "protocol/operations.h"

namespace velmora {
namespace {

using namespace std::string_literals;
using Helper = id<VelmoraMaintenanceHelperXPC>;

const std::string bytesWithNUL = "[\"\0\xFF\"]"s;

Data dataOf(const std::string& text) {
  const auto* begin = reinterpret_cast<const std::byte*>(text.data());
  return {begin, begin + text.size()};
}

// Answers with the name of the method that was called; a flush of the DNS cache succeeds.
class FakeService final : public VelmoraMaintenanceHelperXPC {
 public:
  static inline bool isSilent = false;

  void protocolVersionWithReply(VersionReply reply) override {
    if (!isSilent) std::move(reply)("version \U0001F600");
  }
  void flushDNSCacheWithReply(OperationReply reply) override {
    if (isSilent) throw std::runtime_error("silence");
    std::move(reply)(true, std::nullopt);
  }
  void rebuildSpotlightIndexWithReply(OperationReply reply) override {
    fail(std::move(reply), "spotlight");
  }
  void repairUserPermissionsWithReply(OperationReply reply) override {
    fail(std::move(reply), "permissions");
  }
  void thinLocalSnapshotsWithReply(OperationReply reply) override {
    fail(std::move(reply), "snapshots");
  }
  void freeMemoryWithReply(OperationReply reply) override { fail(std::move(reply), "memory"); }
  void removeLegacyBackgroundItems(Data request, RemovalReply reply) override {
    if (isSilent) return;
    if (request.empty()) return std::move(reply)(false, std::nullopt, "removal");
    std::move(reply)(true, std::move(request), std::nullopt);
  }

 private:
  static void fail(OperationReply reply, const char* message) {
    if (!isSilent) std::move(reply)(false, message);
  }
};

class Adapters : public testing::Test {
 protected:
  Adapters() {
    FakeService::isSilent = false;
    listener_.setDelegate(delegate_);
    listener_.resume();
    doubles.currentConnection = [[NSXPCConnection alloc] init];
    fake_ = [[VelmoraExportedObject alloc] initWithObject:std::make_unique<FakeService>()];
  }

  bool admits(NSXPCConnection* connection) {
    doubles.events.clear();
    return [doubles.listenerDelegate listener:nil shouldAcceptNewConnection:connection];
  }

  // Every answer of `object`, as it reaches a client's blocks.
  static std::string answersOf(Helper object) {
    __block std::string answers;
    const auto operation = ^(BOOL ok, NSString* message) {
      answers += (ok ? "YES " : "NO ") + (message == nil ? "nil"s : utf8Text(message)) + "; ";
    };
    const auto removal = ^(BOOL ok, NSData* response, NSString* message) {
      operation(ok, message);
      const auto* bytes = static_cast<const char*>([response bytes]);
      answers += response == nil ? "nil; "s : std::string(bytes, [response length]) + "; ";
    };
    [object protocolVersionWithReply:^(NSString* version) {
      answers += utf8Text(version) + "; ";
    }];
    [object flushDNSCacheWithReply:operation];
    [object rebuildSpotlightIndexWithReply:operation];
    [object repairUserPermissionsWithReply:operation];
    [object thinLocalSnapshotsWithReply:operation];
    [object freeMemoryWithReply:operation];
    [object removeLegacyBackgroundItems:[NSData dataWithBytes:bytesWithNUL.data()
                                                       length:bytesWithNUL.size()]
                                  reply:removal];
    [object removeLegacyBackgroundItems:[NSData data] reply:removal];
    return answers;
  }

  // Before everything else, which makes doubles note what happens.
  struct Clean {
    Clean() { doubles = Doubles(); }
    ~Clean() { [pool drain]; }
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  } clean_;
  MaintenanceHelperListenerDelegate delegate_;
  XPCListener listener_{HelperServiceName};
  VelmoraExportedObject* fake_;
};

TEST_F(Adapters, admitsOutOfOrderOrAnObjectThatIsNotTheService) {
  EXPECT_EQ(doubles.events, "listen["s + HelperServiceName + "] delegate resume ");
  NSXPCConnection* connection = [[NSXPCConnection alloc] init];
  ASSERT_TRUE(admits(connection));
  EXPECT_EQ(doubles.events, "1:0 2:0 3:0 4:2 requirement[identifier \""s + ClientBundleIdentifier +
                                "\" and anchor apple generic and certificate leaf[subject.OU] = "
                                "\"TEAM\"] interface user object "
                                "resume ");
  __block std::string answer;
  [doubles.exportedObject protocolVersionWithReply:^(NSString* version) {
    answer += utf8Text(version);
  }];
  EXPECT_EQ(answer, ProtocolVersion);
}

TEST_F(Adapters, admitsWithoutATeamOrKeepsAnObjectOfTheSecurityFramework) {
  for (int failing = 0; failing <= 4; ++failing) {
    doubles.failingSecurityCall = failing;
    EXPECT_EQ(admits([[NSXPCConnection alloc] init]), failing == 0);
    EXPECT_EQ(doubles.securityObjects, 0) << failing;
  }
  doubles.failingSecurityCall = 0;
  doubles.log.clear();
  doubles.team.clear();
  EXPECT_FALSE(admits([[NSXPCConnection alloc] init]));
  EXPECT_EQ(doubles.events, "1:0 2:0 3:0 4:2 ");
  EXPECT_EQ(doubles.log, HelperServiceName +
                             " XPC 16 %{public}s Rejected an XPC client: the helper "s
                             "couldn't read its own team\n");
}

TEST_F(Adapters, letsAnExceptionOverARequirementThrough) {
  class Careless : public XPCListenerDelegate {
   public:
    bool listenerShouldAcceptNewConnection(XPCConnection& connection) override {
      const auto install = [&] { connection.setCodeSigningRequirement("no requirement"); };
      description = descriptionRaisedIn(install);
      install();
      return true;
    }
    std::string description;
  } careless;
  listener_.setDelegate(careless);
  EXPECT_FALSE(admits([[NSXPCConnection alloc] init]));
  EXPECT_EQ(careless.description, "Could not use the code signing requirement: malformed.");
  EXPECT_EQ(doubles.events, "");
}

TEST_F(Adapters, answersTwiceOrForAnotherMethodOrWithOtherBytes) {
  EXPECT_EQ(answersOf(fake_),
            "version \U0001F600; YES nil; NO spotlight; NO permissions; NO snapshots; "
            "NO memory; YES nil; "s +
                bytesWithNUL + "; NO removal; nil; ");
  EXPECT_EQ(doubles.events.find("invalidate"), std::string::npos);
}

TEST_F(Adapters, leavesAClientWaitingForAnAnswer) {
  FakeService::isSilent = true;
  EXPECT_EQ(answersOf(fake_), "");
  FakeService::isSilent = false;
  void (^none)(BOOL, NSString*) = nil;
  [fake_ freeMemoryWithReply:none];
  std::string ends;
  for (int call = 0; call < 9; ++call) ends += "invalidate ";
  EXPECT_TRUE(doubles.events.ends_with("resume " + ends)) << doubles.events;
}

TEST_F(Adapters, answersAfterTheLockIsFree) {
  Helper object = [[VelmoraExportedObject alloc]
      initWithObject:std::make_unique<MaintenanceHelperService>(501)];
  __block int answers = 0;
  [object removeLegacyBackgroundItems:[NSData data]
                                reply:^(BOOL ok, NSData* response, NSString* message) {
                                  ++answers;
                                  EXPECT_TRUE(!ok && response == nil && message != nil);
                                  EXPECT_FALSE(std::async(std::launch::async, [] {
                                                 return std::unique_lock(operationLock(),
                                                                         std::try_to_lock)
                                                     .owns_lock();
                                               }).get());
                                }];
  EXPECT_EQ(answers, 1);
}

TEST_F(Adapters, clientCallsAnotherMethodOrLosesItsAnswer) {
  doubles.remoteObject = fake_;
  doubles.events.clear();
  const auto helper = remoteObjectProxy("service");
  EXPECT_EQ(doubles.events,
            "1:0 2:0 4:2 connect[service 4096] remote "
            "requirement[identifier \"service\" and anchor apple generic and certificate "
            "leaf[subject.OU] = \"TEAM\"] resume ");
  std::string answers;
  helper->protocolVersionWithReply(
      VersionReply([&](const std::string& version) { answers += version + "; "; }));
  for (const MaintenanceOperation& operation :
       {DNSCacheFlush, SpotlightIndexRebuild, UserPermissionRepair, SnapshotThinning,
        MemoryPurge}) {
    (*helper.*operation.method)(OperationReply([&](bool ok, const auto& message) {
      answers += (ok ? "YES " : "NO ") + message.value_or("nil") + "; ";
    }));
  }
  for (const Data& request : {dataOf(bytesWithNUL), Data()}) {
    helper->removeLegacyBackgroundItems(
        request, RemovalReply([&](bool ok, const auto& response, const auto& message) {
          EXPECT_EQ(response.value_or(Data()), request);
          EXPECT_EQ(response.has_value(), ok);
          answers += (ok ? "YES " : "NO ") + message.value_or("nil") + "; ";
        }));
  }
  EXPECT_EQ(answers, "version \U0001F600; YES nil; NO spotlight; NO permissions; "
                     "NO snapshots; NO memory; YES nil; NO removal; ");
}

TEST_F(Adapters, clientTakesRefusalForServiceThatIsNotThere) {
  using Cause = XPCConnectionError::Cause;
  for (const auto& [code, hasAnswered, cause] :
       {std::tuple(int{NSXPCConnectionInvalid}, false, Cause::notReached),
        {NSXPCConnectionInvalid, true, Cause::endOfConnection},
        {NSXPCConnectionInterrupted, false, Cause::endOfConnection},
        {4101, true, Cause::other}}) {
    const auto helper = remoteObjectProxy("service");
    const auto ask = [&] { helper->protocolVersionWithReply(VersionReply([](const auto&) {})); };
    doubles.remoteObject = fake_;
    if (hasAnswered) ask();
    doubles.remoteObject = nil;
    doubles.errorCode = code;
    EXPECT_EQ(causeRaisedIn(ask), cause) << code << " " << hasAnswered;
  }
}

TEST_F(Adapters, clientWaitsForEverOrTakesNoAnswerForOne) {
  const auto ask = [] {
    remoteObjectProxy("service")->freeMemoryWithReply(
        OperationReply([](bool, const auto&) { ADD_FAILURE(); }));
  };
  EXPECT_EQ(descriptionRaisedIn(ask), "The helper gave no answer: it was invalidated.");
  doubles.isTimeOver = true;
  doubles.events.clear();
  EXPECT_EQ(causeRaisedIn(ask), XPCConnectionError::Cause::other);
  EXPECT_TRUE(doubles.events.ends_with("resume limit:85 invalidate invalidate ")) << doubles.events;
  doubles.team.clear();
  EXPECT_NE(descriptionRaisedIn(ask), "");
}

TEST_F(Adapters, doctorTakesOneFaultOfASignatureForAnother) {
  using Verdict = CodeInspection::Verdict;
  for (const auto& [status, verdict] : {std::pair(OSStatus{errSecSuccess}, Verdict::valid),
                                        {errSecCSUnsigned, Verdict::unsignedCode},
                                        {errSecCSSignatureFailed, Verdict::altered},
                                        {errSecCSBadResource, Verdict::altered},
                                        {-1, Verdict::untrusted}}) {
    doubles.validity = status;
    const CodeInspection code = inspectCode("/a b");
    EXPECT_EQ(code.verdict, verdict) << status;
    EXPECT_EQ(code.identifier + " " + code.teamIdentifier.value_or(""), "its own TEAM");
    EXPECT_EQ(codeSatisfies("/a b", "true"), status == errSecSuccess);
  }
  EXPECT_TRUE(doubles.events.ends_with("text[true] 6:0 path[/a b] 5:0 required 3:0 "));
  for (const int failing : {4, 5}) {
    doubles.failingSecurityCall = failing;
    EXPECT_EQ(inspectCode("/a b").verdict, Verdict::unreadable);
  }
  EXPECT_FALSE(codeSatisfies("/a b", "true"));
  doubles.failingSecurityCall = 6;
  EXPECT_NE(descriptionRaisedIn([] { (void)codeSatisfies("/a b", "("); }), "");
  EXPECT_EQ(doubles.securityObjects, 0);
}

// Where GNUstep is Foundation's like. It is not in these: it drops a byte-order mark from UTF-16 as
// well, raises over U+1F82, knows no lower-case form of two characters or past U+FFFF, and its
// composed characters are a base and its marks and no more.
TEST_F(Adapters, takesTextsForOtherOnes) {
  for (const auto& [a, b] : {std::pair("\u00E9", "e\u0301"),
                             {"\uAC01", "\u1100\u1161\u11A8"},
                             {"\u0958", "\u0915\u093C"},
                             {"a\u0345\u0301", "a\u0301\u0345"}}) {
    EXPECT_EQ(canonicalForm(a), canonicalForm(b)) << a;
  }
  for (const auto& [a, b] : {std::pair("a\u0301\u0300", "a\u0300\u0301"), {"\uFB01", "fi"}}) {
    EXPECT_NE(canonicalForm(a), canonicalForm(b)) << a;
  }
  std::string marks = "a";
  for (int pair = 0; pair < 128; ++pair) marks += "\u0345\u0301";
  EXPECT_NE(canonicalForm(marks), marks);
  EXPECT_EQ(canonicalForm(marks + "\u0301"), marks + "\u0301");  // too many to be put in order
  EXPECT_EQ(lowercased("COM.Apple \u212A\u017F\u00C4 \u0391\u03A3"),
            "com.apple k\u017F\u00E4 \u03B1\u03C3");
  EXPECT_TRUE(isAlphanumericExcept("aZ09._-\u00E4\u05D0e\u0301\u2167\u00BD", "._-"));
  for (const char* text : {"|", "/", "\u00A0", "\u200D", "\u20AC", "\xFF"}) {
    EXPECT_FALSE(isAlphanumericExcept("a"s + text, "._-")) << text;
  }
  EXPECT_EQ(userPerceivedCharacterCount("a||\u0301"), 3U);
  EXPECT_TRUE(beginsWithCharacter("||", '|') && !beginsWithCharacter("|\u0301", '|'));
}

}  // namespace
}  // namespace velmora
