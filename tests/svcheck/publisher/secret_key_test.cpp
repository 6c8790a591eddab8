#include "svcheck/publisher/secret_key.h"

#include <gcrypt.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "base/error.h"
#include "runtime/acquire/crypto.h"

namespace {

// What scrypt was asked for instead of its doing it, which takes up to a terabyte.
bool isScryptAskedOnly = false;
int askedN = 0;
unsigned long askedP = 0;

}  // namespace

extern "C" {

gpg_error_t __real_gcry_kdf_derive(const void* password, std::size_t passwordSize, int algorithm,
                                   int subAlgorithm, const void* salt, std::size_t saltSize,
                                   unsigned long iterations, std::size_t size, void* bytes);

gpg_error_t __wrap_gcry_kdf_derive(const void* password, std::size_t passwordSize, int algorithm,
                                   int subAlgorithm, const void* salt, std::size_t saltSize,
                                   unsigned long iterations, std::size_t size, void* bytes) {
  if (!isScryptAskedOnly) {
    return __real_gcry_kdf_derive(password, passwordSize, algorithm, subAlgorithm, salt, saltSize,
                                  iterations, size, bytes);
  }
  askedN = subAlgorithm;
  askedP = iterations;
  std::fill_n(static_cast<char*>(bytes), size, 'k');
  return 0;
}

}  // extern "C"

namespace svc::repository {
namespace {

constexpr TPasswordCost kCheap{32768, 16'777'216};

std::string NoPassword() { throw std::logic_error("a password was asked for"); }

TEST(SecretKey, IsReadBackTheSame) {
  const TSecretKey key = NewSecretKey();
  const TSecretKey open = OpenSecretKey(SecretKeyText(key, std::nullopt), NoPassword);
  EXPECT_EQ(open.id, key.id);
  EXPECT_EQ(open.key.Bytes(), key.key.Bytes());
}

TEST(SecretKey, OpensWithItsPasswordOnly) {
  const TSecretKey key = NewSecretKey();
  const std::string text = SecretKeyText(key, "open sesame", kCheap);
  EXPECT_EQ(OpenSecretKey(text, [] { return "open sesame"; }).key.Bytes(), key.key.Bytes());
  EXPECT_THROW(OpenSecretKey(text, [] { return "open Sesame"; }), std::runtime_error);
}

// Algorithms, salt and cost: what stands before what a password hides.
TEST(SecretKey, BeginsWithHowItsPasswordHidesIt) {
  constexpr std::size_t kComment = sizeof "untrusted comment: minisign encrypted secret key";
  const auto bytesOf = [](const std::string& text, std::size_t comment) {
    return *acquire::FromBase64(text.substr(comment, 212));
  };
  const TSecretKey key = NewSecretKey();
  const std::string hidden = bytesOf(SecretKeyText(key, "open sesame", kCheap), kComment);
  EXPECT_EQ(hidden.substr(0, 6), "EdScB2");
  EXPECT_NE(hidden.substr(6, 32), std::string(32, '\0'));
  EXPECT_EQ(hidden.substr(38, 16), std::string("\0\x80\0\0\0\0\0\0\0\0\0\1\0\0\0\0", 16));
  EXPECT_EQ(hidden.find(key.key.Bytes()), std::string::npos);
  const std::string open = bytesOf(SecretKeyText(key, std::nullopt), kComment + 2);
  EXPECT_EQ(open, std::string("Ed\0\0B2", 6) + std::string(48, '\0') + key.id +
                      std::string(key.key.Bytes()) + std::string(32, '\0'));
}

// Made by minisign 0.11 with -W.
TEST(SecretKey, OfMinisignOpens) {
  constexpr const char* kText =
      "untrusted comment: minisign encrypted secret key\n"
      "RWQAAEIyAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA/"
      "azEUkeFIvzx0bSf2sGnoTqd"
      "ulAvKILtfTN0TiwLvSlRsc/4J8T9jRp0Yid6TwBfUJfFGfgUzjo/"
      "rro7N1iGB5J7H0AcuFgUAAAAAAAAAAAAAAAAAAAAAAAA"
      "AAAAAAAAAAAAAAAAAAA=\n";
  const TSecretKey key = OpenSecretKey(kText, NoPassword);
  EXPECT_EQ(PublicKeyText(PublicKeyOf(key)),
            "untrusted comment: minisign public key FC22854752C4ACFD\n"
            "RWT9rMRSR4Ui/Bp0Yid6TwBfUJfFGfgUzjo/rro7N1iGB5J7H0AcuFgU\n");
}

TEST(SecretKey, ThatIsDamagedIsRefused) {
  const std::string text = SecretKeyText(NewSecretKey(), std::nullopt);
  const std::string comment = text.substr(0, text.find('\n') + 1);
  const std::string bytes = *acquire::FromBase64(text.substr(comment.size(), 212));
  for (const std::size_t at : {0, 2, 4, 70, 100}) {
    std::string damaged = bytes;
    damaged[at] = static_cast<char>(damaged[at] ^ 1);
    EXPECT_THROW(OpenSecretKey(comment + acquire::ToBase64(damaged), NoPassword),
                 std::runtime_error)
        << at;
  }
  for (const std::string& none : {std::string(), comment, text.substr(0, text.size() - 5)})
    EXPECT_THROW(OpenSecretKey(none, NoPassword), std::runtime_error) << none;
}

TEST(SecretKey, SignsWhatItsPublicKeyVerifies) {
  const TSecretKey key = NewSecretKey();
  const auto signature = acquire::ParseSignature(SignatureText(key, "message", "comment"));
  EXPECT_EQ(signature.trustedComment, "comment");
  EXPECT_NO_THROW(acquire::VerifySignature(PublicKeyOf(key), signature, "message"));
  EXPECT_ANY_THROW(acquire::VerifySignature(PublicKeyOf(key), signature, "massage"));
  EXPECT_ANY_THROW(acquire::VerifySignature(PublicKeyOf(NewSecretKey()), signature, "message"));
}

// RFC 7914, section 12: N = 1024, r = 8, p = 16.
TEST(Scrypt, IsThatOfTheStandard) {
  EXPECT_EQ(
      acquire::ToHex(Scrypt("password", "NaCl", {10, 16}, 64)),
      "fdbabe1c9d3472007856e7190d01e9fe7c6ad7cbc8237830e77376634b3731622eaf30d92e22a3886ff109279d98"
      "30dac727afb94a83ee6d8360cbdfa2cc0640");
}

TEST(Scrypt, IsDoneUpToTheGreatestCostThatIsANumberOfTheLibrarysAndNoFurther) {
  isScryptAskedOnly = true;
  for (const int logN : {1, 29, 30}) {
    EXPECT_EQ(Scrypt("password", "NaCl", {logN, 3}, 4), "kkkk") << logN;
    EXPECT_EQ(askedN, 1 << logN);
    EXPECT_EQ(askedP, 3U);
  }
  askedN = 0;
  for (const TScryptCost& cost : {TScryptCost{31, 1}, TScryptCost{32, 1}, TScryptCost{10, 0}}) {
    try {
      Scrypt("password", "NaCl", cost, 4);
      ADD_FAILURE() << cost.logN << " is taken";
    } catch (const TError& error) {
      EXPECT_STREQ(error.what(), "the secret key's password is protected beyond reason");
    }
  }
  isScryptAskedOnly = false;
  EXPECT_EQ(askedN, 0) << "before anything is done";
}

}  // namespace
}  // namespace svc::repository
