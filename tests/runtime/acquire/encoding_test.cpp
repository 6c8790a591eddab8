#include <gtest/gtest.h>

#include "from_hex.h"
#include "runtime/acquire/crypto.h"

namespace svc::acquire {
namespace {

// RFC 4648, section 10.
TEST(Base64, WritesAndReadsTheVectorsOfTheStandard) {
  const std::pair<const char*, const char*> vectors[] = {{"", ""},
                                                         {"f", "Zg=="},
                                                         {"fo", "Zm8="},
                                                         {"foo", "Zm9v"},
                                                         {"foob", "Zm9vYg=="},
                                                         {"fooba", "Zm9vYmE="},
                                                         {"foobar", "Zm9vYmFy"}};
  for (const auto& [bytes, text] : vectors) {
    EXPECT_EQ(ToBase64(bytes), text);
    EXPECT_EQ(FromBase64(text), bytes) << text;
  }
}

TEST(Base64, RefusesWhatItWouldNotWrite) {
  for (const char* text : {"Z", "Zg", "Zg=", "Zg===", "Zh==", "Zm9=", "Zm9v=", "=", "Zm 9v",
                           "Zm9v\n", "Zm-_", "Zg==Zg=="})
    EXPECT_EQ(FromBase64(text), std::nullopt) << text;
}

TEST(Base64, HasTheDigitsOfTheStandard) {
  const std::string bytes = FromHex(
      "00108310518720928b30d38f41149351559761969b71d79f8218a39259a7a29aabb2dbafc31cb3d35db7e39ebbf3"
      "dfbf");
  EXPECT_EQ(ToBase64(bytes), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Hex, IsOfTwoDigitsInLowerCase) {
  EXPECT_EQ(ToHex(std::string_view("\x00\x0f\xf0\xff\x9a\x19", 6)), "000ff0ff9a19");
  EXPECT_EQ(ToHex(""), "");
}

TEST(Base64, CarriesEveryByte) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  EXPECT_EQ(FromBase64(ToBase64(bytes)), bytes);
  EXPECT_EQ(FromHex(ToHex(bytes)), bytes);
}

TEST(Hash, IsThatOfTheStandards) {
  EXPECT_EQ(ToHex(Hash(EHash::kSha256, "abc")),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(ToHex(Hash(EHash::kBlake2b512, "abc")),
            "ba80a53f981c4d0d6a2797b69f12f6e94c212f14685ac4b74b12bb6fdbffa2d1"
            "7d87c5392aab792dc252d5de4533cc9518d38aa8dbf1925ab92386edd4009923");
}

TEST(Hash, DoesNotDependOnHowTheBytesArrive) {
  THasher hasher(EHash::kSha256);
  for (const char* part : {"", "a", "b", "c"}) hasher.Update(part);
  EXPECT_EQ(hasher.Digest(), Hash(EHash::kSha256, "abc"));
}

}  // namespace
}  // namespace svc::acquire
