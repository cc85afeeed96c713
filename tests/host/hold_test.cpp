#include "strider/host/hold.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

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

TEST(Hold, UndoesNewestFirstAndRedoesOldestFirst) {
  Hold hold;
  std::string text;
  TypeStep(hold, text, "ab");
  TypeStep(hold, text, "cd");
  EXPECT_EQ(hold.Size(), 40u);
  EXPECT_EQ(hold.UndoName(), "cd");
  EXPECT_TRUE(hold.Undo());
  EXPECT_EQ(text, "ab");
  EXPECT_EQ(hold.UndoName(), "ab");
  EXPECT_EQ(hold.RedoName(), "cd");
  EXPECT_TRUE(hold.Undo());
  EXPECT_FALSE(hold.Undo());
  EXPECT_EQ(text, "");
  EXPECT_EQ(hold.UndoName(), "");
  EXPECT_TRUE(hold.Redo() && hold.Redo());
  EXPECT_FALSE(hold.Redo());
  EXPECT_EQ(text, "abcd");

  hold.Undo();
  hold.Begin();
  EXPECT_TRUE(hold.Accept("nothing was put"));
  EXPECT_EQ(hold.RedoName(), "cd") << "an operation that changed nothing ends no redo";
  TypeStep(hold, text, "x");
  EXPECT_FALSE(hold.Redo());
  EXPECT_EQ(text, "abx");
}

TEST(Hold, NestedPairsMakeOneStep) {
  Hold hold;
  std::string text;
  hold.Begin();
  Type(hold, text, 'a');
  TypeStep(hold, text, "bc");
  EXPECT_TRUE(hold.Holding());
  EXPECT_EQ(hold.UndoName(), "") << "nothing is done before the outermost Accept";
  hold.Begin();
  Type(hold, text, 'd');
  TypeStep(hold, text, "e");
  EXPECT_TRUE(hold.Cancel());
  EXPECT_EQ(text, "abc") << "an inner Cancel takes back its own part, accepted ones inside it too";
  Type(hold, text, 'f');
  EXPECT_TRUE(hold.Accept("outer"));
  EXPECT_FALSE(hold.Holding());
  EXPECT_EQ(hold.UndoName(), "outer");
  EXPECT_TRUE(hold.Undo());
  EXPECT_EQ(text, "");
  EXPECT_FALSE(hold.Undo());
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
    TypeStep(hold, text, "b");
    hold.Undo();  // so that there is something to redo that must survive
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
    if (isUndo) {
      hold.Accept("c");
      EXPECT_TRUE(hold.Undo());
      EXPECT_EQ(hold.RedoName(), "c");
    } else {
      hold.Cancel();
      EXPECT_EQ(hold.RedoName(), "b");
    }
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(text, "a");
    EXPECT_EQ(hold.UndoName(), "a");
    TypeStep(hold, text, "d");
    EXPECT_EQ(hold.UndoName(), "d") << "recording works again afterwards";
  }
}

TEST(Hold, KeepsAsManyStepsAsItsLimit) {
  Hold hold;
  std::string text;
  EXPECT_EQ(hold.Limit(), 100);
  for (int i = 0; i < 105; ++i)
    TypeStep(hold, text, std::string(1, static_cast<char>('a' + i % 26)));
  int undone = 0;
  while (hold.Undo()) ++undone;
  EXPECT_EQ(undone, 100);
  EXPECT_EQ(text, "abcde") << "the oldest steps stay done";

  EXPECT_FALSE(hold.SetLimit(-1));
  EXPECT_TRUE(hold.SetLimit(2));
  EXPECT_TRUE(hold.Redo() && hold.Redo());
  EXPECT_FALSE(hold.Redo());
  EXPECT_EQ(text, "abcdefg") << "of undone steps the next ones are kept";
  EXPECT_TRUE(hold.SetLimit(0));
  TypeStep(hold, text, "z");
  EXPECT_FALSE(hold.Undo());
}

// Against the plainest undo there is: a list of all past texts and a place in it.
TEST(Hold, AgreesWithAListOfPastTextsOverRandomEdits) {
  std::mt19937 random(5);
  Hold hold;
  hold.SetLimit(12);
  std::string text;
  std::vector<std::string> past = {""};
  std::size_t now = 0;
  int edits = 0, undos = 0, redos = 0;
  for (int round = 0; round < 5000; ++round) {
    const unsigned choice = random() % 8;
    if (choice < 2) {
      TypeStep(hold, text, std::string(1 + random() % 3, static_cast<char>('a' + random() % 26)));
      past.resize(now + 1);
      past.push_back(text);
      if (past.size() > 13) past.erase(past.begin());
      now = past.size() - 1;
      ++edits;
    } else if (choice < 3) {
      hold.Begin();
      TypeStep(hold, text, "no");
      Type(hold, text, 'x');
      hold.Cancel();
    } else if (choice < 6) {
      ASSERT_EQ(hold.Undo(), now > 0);
      if (now > 0) --now, ++undos;
    } else {
      ASSERT_EQ(hold.Redo(), now + 1 < past.size());
      if (now + 1 < past.size()) ++now, ++redos;
    }
    ASSERT_EQ(text, past[now]) << "round " << round;
  }
  EXPECT_TRUE(edits > 500 && undos > 500 && redos > 500) << edits << " " << undos << " " << redos;
}

}  // namespace
}  // namespace strider
