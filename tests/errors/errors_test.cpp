#include <gtest/gtest.h>

#include <sstream>

#include "plinth/errors.h"

TEST(QLNError, PlaceAndMessageAreComposedOnce) {
  EXPECT_STREQ(QLNError().what(), "No error, code 0, severity 0, programm unknown");
  const QLNError full("x", 7, 12, "ini", 87);
  EXPECT_STREQ(full.what(), "x, code 7, severity 12, programm ini 87");
  EXPECT_EQ(QLNError("x", 7, 12, "ini", 0).Where(), "ini");
  EXPECT_EQ(QLNError("x", 7, 12, "", 87).Where(), "unknown");
  // An empty message is kept as soon as there is a code or a severity.
  const QLNError coded("", 1);
  EXPECT_STREQ(coded.what(), ", code 1, severity 0, programm unknown");
  EXPECT_EQ(QLNError("", 0, 3).What(), "");
  // what() points into the error itself, also after a copy.
  QLNError copy(full);
  EXPECT_STREQ(copy.what(), full.what());
  EXPECT_NE(copy.what(), full.what());
}

TEST(QLNError, InformationalUpToSeverityFourExceptPlainCodesAndEqualityIgnoresThePlace) {
  EXPECT_FALSE(QLNError("m", 5, 0).isInfoOnly());
  EXPECT_TRUE(QLNError("m", 4, 0).isInfoOnly());
  EXPECT_TRUE(QLNError("m", 99, 4).isInfoOnly());
  EXPECT_FALSE(QLNError("m", 0, 5).isInfoOnly());
  EXPECT_TRUE(QLNError("m", 3, 12, "a.cpp", 1) == QLNError("m", 3, 12, "b.cpp", 2));
  EXPECT_FALSE(QLNError("m", 3, 12) == QLNError("n", 3, 12));
  EXPECT_FALSE(QLNError("m", 3, 12) == QLNError("m", 4, 12));
  EXPECT_FALSE(QLNError("m", 3, 12) == QLNError("m", 3, 11));
}

TEST(QLNError, CaughtAsStdExceptionAndStreamedWithoutLineEnd) {
  try {
    throw QLNLogicalError("bad", "f", 3);
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "Logical Error: bad, code 1, severity 12, programm f 3");
    std::ostringstream out;
    out << dynamic_cast<const QLNError&>(e);  // through the virtual what
    EXPECT_EQ(out.str(), e.what());
  }
}
