#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "base/error.h"
#include "from_hex.h"
#include "runtime/acquire/crypto.h"

namespace {

bool isCurveMissing = false;
bool isNumberRefused = false;
constexpr unsigned kRefused = 1;

}  // namespace

// The library's functions, in terms of any pointers and its number for an error.
extern "C" {

unsigned __real_gcry_mpi_ec_new(void** curve, void* parameters, const char* name);
unsigned __real_gcry_mpi_scan(void** number, int format, const void* bytes, std::size_t size,
                              std::size_t* scanned);

unsigned __wrap_gcry_mpi_ec_new(void** curve, void* parameters, const char* name) {
  return isCurveMissing ? kRefused : __real_gcry_mpi_ec_new(curve, parameters, name);
}

unsigned __wrap_gcry_mpi_scan(void** number, int format, const void* bytes, std::size_t size,
                              std::size_t* scanned) {
  if (isNumberRefused) return kRefused;
  return __real_gcry_mpi_scan(number, format, bytes, size, scanned);
}

}  // extern "C"

namespace svc::acquire {
namespace {

struct TVector {
  const char* key;
  const char* message;
  const char* signature;
};

// RFC 8032, section 7.1: tests 1 to 3.
constexpr TVector kVectors[] = {
    {"d75a980182b10ab7d54bfed3c964073a0ee172f3daa62325af021a68f707511a", "",
     "e5564300c360ac729086e2cc806e828a84877f1eb8e5d974d873e065224901555fb8821590a33bacc61e39701cf9b"
     "4"
     "6bd25bf5f0595bbe24655141438e7a100b"},
    {"3d4017c3e843895a92b70aa74d1b7ebc9c982ccf2ec4968cc0cd55f12af4660c", "72",
     "92a009a9f0d4cab8720e820b5f642540a2b27b5416503f8fb3762223ebdb69da085ac1e43e15996e458f3613d0f11"
     "d"
     "8c387b2eaeb4302aeeb00d291612bb0c00"},
    {"fc51cd8e6218a1a38da47ed00230f0580816ed13ba3303ac5deb911548908025", "af82",
     "6291d657deec24024827e69c3abe01a30ce548a284743a445e3680d7db5ac3ac18ff9b538d16f290ae67f760984dc"
     "6"
     "594a7c15e9716ed28dc027beceea1ec40a"}};

TEST(Ed25519, AcceptsTheVectorsOfTheStandard) {
  for (const TVector& vector : kVectors)
    EXPECT_TRUE(
        IsSignedEd25519(FromHex(vector.key), FromHex(vector.message), FromHex(vector.signature)))
        << vector.key;
}

// With the key of the standard's first test.
TEST(Ed25519, AcceptsAPointWhoseHighestByteIsZero) {
  const std::pair<const char*, const char*> signatures[] = {
      {"22",
       "8045b6f9f35cd7f3c1a691a202b85707b88460530c2f24e428388de772006480"
       "fe1d42abcf1f0af0d4adb64dd56fe77541aaf12528eace467a188fe07d006801"},
      {"120",
       "f6abfb65f9cfe29a60aa201ea2eabcb8034349cdef0166c60374d91f73055500"
       "fd3871fc748697f910adb7fdf9ba1c611f52dba11312c43c1b6018bd19431a0a"}};
  for (const auto& [message, signature] : signatures)
    EXPECT_TRUE(IsSignedEd25519(FromHex(kVectors[0].key), message, FromHex(signature))) << message;
}

TEST(Ed25519, RefusesASignatureWithAnyBitChanged) {
  const TVector& vector = kVectors[1];
  for (std::size_t bit = 0; bit < kEd25519SignatureSize * 8; ++bit) {
    std::string signature = FromHex(vector.signature);
    signature[bit / 8] = static_cast<char>(signature[bit / 8] ^ 1 << bit % 8);
    EXPECT_FALSE(IsSignedEd25519(FromHex(vector.key), FromHex(vector.message), signature)) << bit;
  }
}

TEST(Ed25519, RefusesAnotherMessageOrKey) {
  const std::string signature = FromHex(kVectors[1].signature);
  EXPECT_FALSE(IsSignedEd25519(FromHex(kVectors[1].key), "s", signature));
  EXPECT_FALSE(IsSignedEd25519(FromHex(kVectors[0].key), "r", signature));
  EXPECT_TRUE(IsSignedEd25519(FromHex(kVectors[1].key), "r", signature));
}

// A signature that cannot be judged is neither good nor bad.
TEST(Ed25519, SaysWhatTheLibraryCannotDo) {
  const auto failureWith = [](bool& isMissing) {
    isMissing = true;
    std::string failure;
    try {
      IsSignedEd25519(FromHex(kVectors[1].key), "r", FromHex(kVectors[1].signature));
    } catch (const TError& error) {
      failure = error.what();
    }
    isMissing = false;
    return failure;
  };
  EXPECT_EQ(failureWith(isCurveMissing), "libgcrypt does not offer Ed25519");
  EXPECT_EQ(failureWith(isNumberRefused), "libgcrypt cannot read a number");
}

// S and S plus the order of the base point fulfil the same equation; only the lesser counts.
TEST(Ed25519, RefusesASignatureThatWasStretched) {
  const std::string order =
      FromHex("edd3f55c1a631258d69cf7a2def9de1400000000000000000000000000000010");
  std::string signature = FromHex(kVectors[1].signature);
  int carry = 0;
  for (std::size_t i = 0; i < 32; ++i) {
    carry += static_cast<unsigned char>(signature[32 + i]) + static_cast<unsigned char>(order[i]);
    signature[32 + i] = static_cast<char>(carry & 0xFF);
    carry >>= 8;
  }
  EXPECT_FALSE(IsSignedEd25519(FromHex(kVectors[1].key), "r", signature));
}

TEST(Ed25519, RefusesWhatHasAnotherLength) {
  const std::string key = FromHex(kVectors[0].key);
  const std::string signature = FromHex(kVectors[0].signature);
  EXPECT_FALSE(IsSignedEd25519(key.substr(1), "", signature));
  EXPECT_FALSE(IsSignedEd25519(key, "", signature.substr(1)));
  EXPECT_FALSE(IsSignedEd25519("", "", ""));
}

TEST(Ed25519, RefusesAKeyThatIsNoPoint) {
  EXPECT_FALSE(IsSignedEd25519(std::string(32, '\xFF'), "", FromHex(kVectors[0].signature)));
}

}  // namespace
}  // namespace svc::acquire
