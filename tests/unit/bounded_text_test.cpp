#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "mesh/attached_devices.h"

namespace {

TEST(BoundedText, KeepsAtMostCapacityCharacters) {
    Text64 t(std::string(64, 'a'));
    EXPECT_EQ(t.size(), 63u);
    EXPECT_EQ(t.str(), std::string(63, 'a'));
    Text256 w(std::string(300, 'w'));
    EXPECT_EQ(w.size(), 255u);
    Text64 exact(std::string(63, 'e'));
    EXPECT_EQ(exact.str(), std::string(63, 'e'));
}

TEST(BoundedText, EndsAtTheFirstNulLikeACString) {
    Text64 t(std::string_view("ab\0cd", 5));
    EXPECT_EQ(t, "ab");
    EXPECT_EQ(t.size(), 2u);
}

TEST(BoundedText, EmptyTextReadsAsEmptyCString) {
    Text64 t;
    EXPECT_TRUE(t.empty());
    EXPECT_STREQ(t.c_str(), "");
    t = "x";
    EXPECT_FALSE(t.empty());
    t = "";
    EXPECT_TRUE(t.empty());
    EXPECT_STREQ(t.c_str(), "");
    t = "y";
    t.clear();
    EXPECT_TRUE(t.empty());
}

TEST(BoundedText, CopiesAreIndependent) {
    Text64 a("first");
    Text64 b = a;
    b = "second";
    EXPECT_EQ(a, "first");
    EXPECT_EQ(b, "second");
    a = b;
    b = "third";
    EXPECT_EQ(a, "second");
}

TEST(BoundedText, AssigningAPartOfItselfKeepsThatPart) {
    Text64 t("prefix-suffix");
    t = t.view().substr(7);
    EXPECT_EQ(t, "suffix");
    const Text64& same = t;  // through a reference, as code that does not know it is itself
    t = same;
    EXPECT_EQ(t, "suffix");
}

TEST(BoundedText, MovedFromTextIsEmpty) {
    Text256 a("moved");
    Text256 b = std::move(a);
    EXPECT_EQ(b, "moved");
    EXPECT_TRUE(a.empty());  // NOLINT: the state after a move is part of the contract
    EXPECT_STREQ(a.c_str(), "");
}

TEST(BoundedText, AnEmptyDeviceEntryHoldsNoTextStorage) {
    // An entry is pointers and numbers only; the texts are held apart, as long as they
    // are, so the table of 128 entries stays small when the devices are few.
    EXPECT_LE(sizeof(AttachDevEntry), 40 * sizeof(void*) + 64);
    AttachDevEntry e;
    EXPECT_TRUE(e.name.empty());
    EXPECT_TRUE(e.user_agent.empty());
}

}  // namespace
