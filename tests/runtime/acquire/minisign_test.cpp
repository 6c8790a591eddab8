#include "runtime/acquire/crypto.h"

#include <gtest/gtest.h>

#include <boost/algorithm/string/replace.hpp>

#include "runtime/acquire/settings.h"

namespace svc::acquire {
namespace {

// Made by minisign 0.11.
constexpr const char* kMessage = "the message\n";
constexpr const char* kKeyLine = "RWT9rMRSR4Ui/Bp0Yid6TwBfUJfFGfgUzjo/rro7N1iGB5J7H0AcuFgU";
constexpr const char* kKeyText =
    "untrusted comment: minisign public key FC22854752C4ACFD\n"
    "RWT9rMRSR4Ui/Bp0Yid6TwBfUJfFGfgUzjo/rro7N1iGB5J7H0AcuFgU\n";
constexpr const char* kPrehashed =
    "untrusted comment: signature from minisign secret key\n"
    "RUT9rMRSR4Ui/"
    "LsLjp4qCULRDG6lOrRE9W2te56eAHXcE9cVWtyienIXqDIyvIlV1ZVcUFE4IFBffbp5hWIxSETbYr7gKzhV"
    "FQ0=\n"
    "trusted comment: the comment\n"
    "K2rd/mleQumM1Nb/hi1bm1RKAVhiUuDH1mWe6f2nmUGZAsfhrMyE4QpCDz8JEYQX0M2Sn3Z45ES+r3El1g8cDA==\n";
constexpr const char* kLegacy =
    "untrusted comment: signature from minisign secret key\n"
    "RWT9rMRSR4Ui/GhOsHaGCU+W52PKOdXgUnpIMbhnwC+euEkMBETPqvLFoDkQKdVnd+Z/"
    "gwVuB5q9FmG5RlvY2arYjtQiQeOW"
    "7go=\n"
    "trusted comment: the comment\n"
    "LlndgIka3iZD3nDzXypEeUHPkljmOotef/PlBqgW2exEFGILerZaUAUhqWN2+6UChygE610PZ9/xXXmgTwdcDg==\n";

// What a check says; empty when it is content.
std::string Complaint(const std::string& signature, const std::string& message = kMessage) {
  try {
    VerifySignature(ParsePublicKey(kKeyText), ParseSignature(signature), message);
    return "";
  } catch (const TError& failure) {
    EXPECT_EQ(OutcomeOf(failure), EOutcome::kBadSignature);
    return failure.what();
  }
}

std::string Changed(const char* text, const char* from, const char* to) {
  EXPECT_NE(std::string(text).find(from), std::string::npos);
  return boost::replace_first_copy(std::string(text), from, to);
}

TEST(Minisign, ReadsAKeyFileAndItsSecondLineAlone) {
  for (const std::string& text :
       {std::string(kKeyText), std::string(kKeyLine), std::string(kKeyLine) + "\r\n"}) {
    EXPECT_EQ(KeyNumber(ParsePublicKey(text).id), "FC22854752C4ACFD") << text;
    EXPECT_EQ(ParsePublicKey(text).key.size(), 32U);
  }
}

TEST(Minisign, RefusesKeysThatAreNone) {
  for (const std::string& text : {std::string(), std::string("untrusted comment: x"),
                                  std::string(kKeyLine).substr(4), std::string(kKeyLine) + "AAAA",
                                  "X" + std::string(kKeyLine).substr(1), std::string(kLegacy)})
    EXPECT_THROW(ParsePublicKey(text), TError) << text;
}

TEST(Minisign, AcceptsBothKindsOfSignature) {
  EXPECT_EQ(Complaint(kPrehashed), "");
  EXPECT_EQ(Complaint(kLegacy), "");
  EXPECT_TRUE(ParseSignature(kPrehashed).prehashed);
  EXPECT_FALSE(ParseSignature(kLegacy).prehashed);
}

TEST(Minisign, AcceptsLinesThatEndAsOnWindows) {
  EXPECT_EQ(Complaint(boost::replace_all_copy(std::string(kPrehashed), "\n", "\r\n")), "");
}

TEST(Minisign, LetsTheUntrustedCommentSayAnything) {
  EXPECT_EQ(Complaint(Changed(kPrehashed, "signature from minisign secret key", "hello")), "");
}

TEST(Minisign, RefusesAnotherMessage) {
  for (const char* text : {kPrehashed, kLegacy})
    for (const char* message : {"", "the message", "the message\r\n", "The message\n"})
      EXPECT_NE(Complaint(text, message).find("is not one of this manifest"), std::string::npos)
          << message;
}

TEST(Minisign, RefusesAnotherTrustedComment) {
  for (const char* text : {kPrehashed, kLegacy})
    for (const char* comment : {"comment: ", "comment: the comment ", "comment: the Comment"})
      EXPECT_NE(Complaint(Changed(text, "comment: the comment", comment)).find("trusted comment"),
                std::string::npos)
          << comment;
}

TEST(Minisign, RefusesAnotherKey) {
  const std::string complaint = Complaint(Changed(kPrehashed, "RUT9rMRS", "RUT9rMRT"));
  EXPECT_NE(complaint.find("FC22854753C4ACFD"), std::string::npos) << complaint;
}

TEST(Minisign, SaysWhyItRefuses) {
  const std::string beginning = "the manifest's signature ";
  EXPECT_EQ(Complaint(""), beginning + "does not have minisign's form");
  EXPECT_EQ(Complaint(Changed(kPrehashed, "RUT9", "RVT9")),
            beginning + "was made by an algorithm that is not known");
  EXPECT_EQ(Complaint(Changed(kPrehashed, "RUT9rMRS", "RUT9rMRT")),
            beginning +
                "was made with key FC22854753C4ACFD, the one to be trusted is "
                "FC22854752C4ACFD");
  EXPECT_EQ(Complaint(kPrehashed, "another"),
            beginning + "is not one of this manifest: one of them was changed");
  EXPECT_EQ(Complaint(Changed(kPrehashed, "comment: the", "comment: a")),
            beginning + "has a trusted comment that was changed");
  try {
    ParsePublicKey("none");
    FAIL();
  } catch (const TError& failure) {
    EXPECT_EQ(OutcomeOf(failure), EOutcome::kKeyUnusable);
    EXPECT_STREQ(failure.what(), "this is no public key of minisign");
  }
}

TEST(Minisign, RefusesOneKindPassedOffAsTheOther) {
  EXPECT_NE(Complaint(Changed(kPrehashed, "RUT9", "RWT9")), "");
  EXPECT_NE(Complaint(Changed(kLegacy, "RWT9", "RUT9")), "");
}

TEST(Minisign, RefusesTextsOfAnotherForm) {
  const std::string cases[] = {"",
                               "\n\n\n\n",
                               Changed(kPrehashed, "untrusted comment:", "comment:"),
                               Changed(kPrehashed, "trusted comment: the", "comment: the"),
                               Changed(kPrehashed, "RUT9", "RVT9"),
                               Changed(kPrehashed, "FQ0=", "FQ0"),
                               Changed(kPrehashed, "g8cDA==", "g8cDA"),
                               Changed(kPrehashed, "\ntrusted", "\n\ntrusted")};
  for (const std::string& text : cases) EXPECT_NE(Complaint(text), "") << text;
}

TEST(Minisign, RefusesEveryShorterText) {
  const std::string whole = kPrehashed;
  for (std::size_t size = 0; size + 1 < whole.size(); ++size)
    EXPECT_NE(Complaint(whole.substr(0, size)), "") << size;
}

}  // namespace
}  // namespace svc::acquire
