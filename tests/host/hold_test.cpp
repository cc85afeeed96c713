#include "strider/host/hold.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

namespace strider {
namespace {

// Undo of one letter added to a text. It checks the order for itself: each letter must be the last.
struct LetterRest : RestoreObj {
  std::string& text;
  char letter;
  std::function<void(bool)> onRestore;

  LetterRest(std::string& text_, char letter_) : text(text_), letter(letter_) {}
  void Restore(bool isUndo) override {
    if (onRestore) onRestore(isUndo);
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.back(), letter);
    text.pop_back();
  }
  void Redo() override { text += letter; }
  std::size_t Size() const override { return 10; }
};

bool Type(Hold& hold, std::string& text, char letter) {
  text += letter;
  return hold.Put(std::make_unique<LetterRest>(text, letter));
}

void TypeStep(Hold& hold, std::string& text, const std::string& letters) {
  hold.Begin();
  for (const char letter : letters) Type(hold, text, letter);
  hold.Accept(letters);
}

TEST(Hold, RecordsOnlyBetweenBeginAndItsEndUnlessSuspended) {
  Hold hold;
  std::string text;
  EXPECT_FALSE(Type(hold, text, 'a'));
  EXPECT_FALSE(hold.Accept("no Begin") || hold.Cancel());
  hold.Begin();
  hold.Suspend();
  hold.Suspend();
  hold.Resume();
  EXPECT_FALSE(hold.Holding());
  EXPECT_FALSE(Type(hold, text, 'b'));
  hold.Resume();
  hold.Resume();  // one too many
  EXPECT_TRUE(Type(hold, text, 'c'));
  EXPECT_FALSE(hold.Put(nullptr));
  EXPECT_FALSE(hold.Undo() || hold.Redo() || hold.Clear() || hold.SetLimit(5)) << "while held";
  hold.Accept("c");
  EXPECT_TRUE(hold.Undo());
  EXPECT_EQ(text, "ab");
  EXPECT_TRUE(hold.Clear());
  EXPECT_FALSE(hold.Redo());
}

// A restore often runs the same operations as an edit, with their own Begin, Put and Accept.
TEST(Hold, WhatARestoreRecordsIsIgnored) {
  for (const bool isUndo : {true, false}) {
    SCOPED_TRACE(isUndo ? "undo" : "cancel");
    Hold hold;
    std::string text, sideText;
    TypeStep(hold, text, "a");
    hold.Begin();
    text += 'c';
    auto rest = std::make_unique<LetterRest>(text, 'c');
    int ran = 0;
    rest->onRestore = [&](bool given) {
      ++ran;
      EXPECT_EQ(given, isUndo);
      hold.Begin();
      EXPECT_FALSE(Type(hold, sideText, 'x'));
      hold.Begin();
      hold.Cancel();
      EXPECT_FALSE(Type(hold, sideText, 'y')) << "still restoring after an inner Cancel";
      hold.Accept("inner");
      EXPECT_FALSE(hold.Undo() || hold.Redo() || hold.Clear());
    };
    hold.Put(std::move(rest));
    EXPECT_TRUE(isUndo ? hold.Accept("c") && hold.Undo() : hold.Cancel());
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(text, "a");
    EXPECT_EQ(hold.UndoName(), "a");
    EXPECT_EQ(hold.RedoName(), isUndo ? "c" : "");
    TypeStep(hold, text, "d");
    EXPECT_EQ(hold.UndoName(), "d") << "recording works again afterwards";
  }
}

TEST(Hold, ALowerLimitKeepsTheStepsNextToThePresent) {
  Hold hold;
  std::string text;
  EXPECT_EQ(hold.Limit(), 100);
  for (const char* letter : {"a", "b", "c", "d"}) TypeStep(hold, text, letter);
  EXPECT_FALSE(hold.SetLimit(-1));
  EXPECT_TRUE(hold.SetLimit(3));
  EXPECT_TRUE(hold.Undo() && hold.Undo() && hold.Undo());
  EXPECT_FALSE(hold.Undo());
  EXPECT_EQ(text, "a") << "the oldest step stays done";
  EXPECT_TRUE(hold.SetLimit(2));
  EXPECT_TRUE(hold.Redo() && hold.Redo());
  EXPECT_FALSE(hold.Redo());
  EXPECT_EQ(text, "abc") << "of undone steps the next ones are kept";
  EXPECT_TRUE(hold.SetLimit(0));
  TypeStep(hold, text, "z");
  EXPECT_FALSE(hold.Undo());
}

// Against the plainest undo there is: a list of all past texts and a place in it.
TEST(Hold, AgreesWithAListOfPastTextsOverRandomEdits) {
  std::mt19937 random(5);
  Hold hold;
  hold.SetLimit(12);
  struct Past {
    std::string text, name;
  };
  std::string text;
  std::vector<Past> past = {{"", ""}};
  std::size_t now = 0;
  for (int round = 0; round < 5000; ++round) {
    const unsigned choice = random() % 8;
    if (choice < 3) {
      // The inner pairs belong to the outer one, which is empty, cancelled or accepted.
      const unsigned letters = random() % 4;
      hold.Begin();
      for (unsigned i = 0; i < letters; ++i) {
        Type(hold, text, static_cast<char>('a' + random() % 26));
        TypeStep(hold, text, "in");
        hold.Begin();
        TypeStep(hold, text, "no");
        Type(hold, text, 'x');
        ASSERT_TRUE(hold.Cancel());
      }
      ASSERT_TRUE(hold.Holding());
      if (choice == 0) {
        ASSERT_TRUE(hold.Cancel());
      } else {
        const std::string name = std::to_string(round);
        ASSERT_TRUE(hold.Accept(name));
        if (letters > 0) {
          past.resize(now + 1);
          past.push_back({text, name});
          if (past.size() > 13) past.erase(past.begin());
          now = past.size() - 1;
        }
      }
    } else if (choice < 6) {
      ASSERT_EQ(hold.Undo(), now > 0);
      if (now > 0) --now;
    } else {
      ASSERT_EQ(hold.Redo(), now + 1 < past.size());
      if (now + 1 < past.size()) ++now;
    }
    ASSERT_EQ(text, past[now].text) << "round " << round;
    ASSERT_EQ(hold.UndoName(), now > 0 ? past[now].name : "");
    ASSERT_EQ(hold.RedoName(), now + 1 < past.size() ? past[now + 1].name : "");
    ASSERT_EQ(hold.Size(), 10 * (past.back().text.size() - past.front().text.size()));
  }
}

}  // namespace
}  // namespace strider
