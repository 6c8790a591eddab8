#include "runtime/acquire/transport.h"

#include <gtest/gtest.h>

#include "outside_numbers.h"

namespace svc::acquire {
namespace {

TEST(WholeNumber, HoldsDigitsAndFits) {
  for (const auto& [text, value] : kOutsideNumbers) EXPECT_EQ(WholeNumber(text), value) << text;
  for (const char* text : {"", " ", " 1", "1 ", "+1", "0x1", "1,2", "one"})
    EXPECT_EQ(WholeNumber(text), std::nullopt) << text;
  EXPECT_EQ(WholeNumber("007"), 7U);
}

TEST(RangeStart, IsTheFirstNumberOfARangeThatCanBe) {
  EXPECT_EQ(RangeStart("bytes 5-9/10"), 5U);
  EXPECT_EQ(RangeStart("BYTES 5-9/*"), 5U);
  EXPECT_EQ(RangeStart("bytes 9-9/10"), 9U);
  EXPECT_EQ(RangeStart("bytes 0-0/1"), 0U);
}

TEST(RangeStart, IsUnknownOfARangeThatCannotBe) {
  for (const char* value :
       {"", "bytes", "bytes ", "bytes */10", "bytes 5", "bytes 5-", "bytes -9/10", "bytes 5-9",
        "bytes 9-8/10", "bytes 5-9/9", "bytes 5-9/8", "bytes 5-9/x", "bytes 5-9/", "items 5-9/10",
        "bytes  5-9/10", "bytes 5 -9/10", "bytes x-9/10", "bytes 5/9-10", "bytes=5-9/10"})
    EXPECT_EQ(RangeStart(value), std::nullopt) << value;
}

TEST(RangeStart, TakesNoNumberForAnother) {
  for (const auto& [text, value] : kOutsideNumbers)
    EXPECT_EQ(RangeStart(std::string("bytes ") + text + "-18446744073709551615/*"), value) << text;
}

TResponse Read(std::string_view line) {
  TResponse response;
  ReadHeaderLine(line, response);
  return response;
}

TEST(HeaderLine, IsKnownByItsNameInAnyCase) {
  EXPECT_EQ(Read("ETag: \"one\"\r\n").etag, "\"one\"");
  EXPECT_EQ(Read("etag:W/\"one\"\r\n").etag, "W/\"one\"");
  EXPECT_EQ(Read("LOCATION: \t/a b \t\r\n").redirect, "/a b");
  EXPECT_EQ(Read("Content-Range: bytes 5-9/10\r\n").rangeStart, 5U);
  EXPECT_EQ(Read("x-auth-TOKEN: s3cret \r\n").sessionToken, "s3cret");
  EXPECT_EQ(Read("X-Auth: s3cret").sessionToken, "");
}

TEST(HeaderLine, SaysNothingUnderAnotherName) {
  for (const char* line :
       {"", "\r\n", "HTTP/1.1 200 OK", "ETags: \"one\"", "X-ETag: \"one\"", "Locations: /a",
        "Content-Location: /a", " Location: /a", "Content-Ranges: bytes 5-9/10", "ETag"}) {
    const TResponse response = Read(line);
    EXPECT_EQ(response.etag + response.redirect, "") << line;
    EXPECT_EQ(response.rangeStart, std::nullopt) << line;
  }
}

TEST(HeaderLine, OfARangeThatCannotBeTakesBackTheOneBefore) {
  TResponse response = Read("Content-Range: bytes 5-9/10");
  ReadHeaderLine("Content-Range: bytes 5-4/10", response);
  EXPECT_EQ(response.rangeStart, std::nullopt);
}

TEST(AbsoluteAddress, IsSeenFromTheAddressThatNamesIt) {
  const std::string base = "http://server/sv/files/one.xml";
  EXPECT_EQ(AbsoluteAddress(base, "two.xml"), "http://server/sv/files/two.xml");
  EXPECT_EQ(AbsoluteAddress(base, "/two.xml"), "http://server/two.xml");
  EXPECT_EQ(AbsoluteAddress(base, "//other/two.xml"), "http://other/two.xml");
  EXPECT_EQ(AbsoluteAddress(base, "https://other/two.xml"), "https://other/two.xml");
}

}  // namespace
}  // namespace svc::acquire
