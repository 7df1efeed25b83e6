#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "render/NoteStateGuard.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

// Runs something on a thread of its own, to the end.
template <typename Work>
void elsewhere(Work&& work) {
  std::thread thread(work);
  thread.join();
}

class NoteStateGuardTest : public ::testing::Test {
 protected:
  void request(std::uint32_t bits) {
    guard.request(bits, [this](std::uint32_t taken) { applied.push_back(taken); });
  }
  void begin() {
    guard.beginBlock([this](std::uint32_t taken) { applied.push_back(taken); });
  }
  using Applied = std::vector<std::uint32_t>;
  NoteStateGuard guard;
  Applied applied;
};

TEST_F(NoteStateGuardTest, ARequestWhileNoBlockIsRenderedIsCarriedOutAtOnce) {
  request(NoteStateGuard::kAllNotesOff);
  EXPECT_EQ(applied, Applied{NoteStateGuard::kAllNotesOff});

  elsewhere([this] { request(NoteStateGuard::kClearNotes); });

  EXPECT_EQ(applied, (Applied{NoteStateGuard::kAllNotesOff, NoteStateGuard::kClearNotes}));
}

TEST_F(NoteStateGuardTest, ABlockWithoutRequestsCarriesOutNothing) {
  begin();
  guard.endBlock();
  begin();
  guard.endBlock();

  EXPECT_EQ(applied, Applied{});
}

TEST_F(NoteStateGuardTest, ARequestOfAnotherThreadInsideABlockWaitsForTheNext) {
  begin();
  elsewhere([this] { request(NoteStateGuard::kAllNotesOff); });
  EXPECT_EQ(applied, Applied{});
  guard.endBlock();
  EXPECT_EQ(applied, Applied{});

  begin();

  EXPECT_EQ(applied, Applied{NoteStateGuard::kAllNotesOff});
  guard.endBlock();
  begin();
  EXPECT_EQ(applied.size(), 1U) << "once";
}

TEST_F(NoteStateGuardTest, RequestsOfOneBlockAreCarriedOutTogether) {
  begin();
  elsewhere([this] { request(NoteStateGuard::kAllNotesOff); });
  elsewhere([this] { request(NoteStateGuard::kClearNotes); });
  elsewhere([this] { request(NoteStateGuard::kAllNotesOff); });
  guard.endBlock();

  begin();

  EXPECT_EQ(applied, Applied{NoteStateGuard::kAllNotesOff | NoteStateGuard::kClearNotes});
}

TEST_F(NoteStateGuardTest, ALaterGateRequestReplacesTheEarlier) {
  begin();
  elsewhere([this] { request(NoteStateGuard::kGateOn); });
  elsewhere([this] { request(NoteStateGuard::kGateOff); });
  elsewhere([this] { request(NoteStateGuard::kAllNotesOff); });
  guard.endBlock();

  begin();
  EXPECT_EQ(applied, Applied{NoteStateGuard::kGateOff | NoteStateGuard::kAllNotesOff});
  elsewhere([this] { request(NoteStateGuard::kGateOff); });
  elsewhere([this] { request(NoteStateGuard::kGateOn); });
  guard.endBlock();
  begin();

  EXPECT_EQ(applied.back(), NoteStateGuard::kGateOn);
}

TEST_F(NoteStateGuardTest, ARequestOfTheRenderThreadInsideItsBlockIsCarriedOutAtOnce) {
  begin();

  request(NoteStateGuard::kAllNotesOff);

  EXPECT_EQ(applied, Applied{NoteStateGuard::kAllNotesOff});
  guard.endBlock();
}

TEST_F(NoteStateGuardTest, WhatOthersAskedMeanwhileStaysForTheNextBlock) {
  begin();
  elsewhere([this] { request(NoteStateGuard::kClearNotes); });
  request(NoteStateGuard::kAllNotesOff);
  EXPECT_EQ(applied, Applied{NoteStateGuard::kAllNotesOff});
  guard.endBlock();

  begin();

  EXPECT_EQ(applied.back(), NoteStateGuard::kClearNotes);
}

TEST_F(NoteStateGuardTest, ARequestBehindABlockBringsWhatStillWaits) {
  begin();
  elsewhere([this] { request(NoteStateGuard::kClearNotes); });
  guard.endBlock();

  request(NoteStateGuard::kAllNotesOff);

  EXPECT_EQ(applied, Applied{NoteStateGuard::kClearNotes | NoteStateGuard::kAllNotesOff});
}

TEST_F(NoteStateGuardTest, TheThreadThatRenderedBeforeIsAForeignOneInAnothersBlock) {
  begin();
  guard.endBlock();
  elsewhere([this] { begin(); });

  request(NoteStateGuard::kAllNotesOff);

  EXPECT_EQ(applied, Applied{});
}

class NoteStateOfInstrument : public InstrumentFixture {};

TEST_F(NoteStateOfInstrument, OutsideABlockAllNotesOffIsImmediate) {
  noteOn(60);

  elsewhere([this] { instrument->setAllNotesOff(); });

  EXPECT_EQ(gates(), (std::vector<int>{0, 0, 0, 0}));
}

TEST_F(NoteStateOfInstrument, InsideABlockAnotherThreadsAllNotesOffWaits) {
  instrument->beginBlock();
  noteOn(60);
  elsewhere([this] { instrument->setAllNotesOff(); });
  EXPECT_EQ(holderOf(60), 0);
  EXPECT_EQ(voice(0).gate, 1);
  instrument->endBlock();

  instrument->beginBlock();

  EXPECT_EQ(holderOf(60), -1);
  EXPECT_EQ(voice(0).gate, 0);
  instrument->endBlock();
}

TEST_F(NoteStateOfInstrument, InsideABlockTheRenderThreadsAllNotesOffIsImmediate) {
  instrument->beginBlock();
  noteOn(60);

  instrument->setAllNotesOff();

  EXPECT_EQ(voice(0).gate, 0);
  instrument->endBlock();
}

TEST_F(NoteStateOfInstrument, TheArpeggiatorSwitchedOffByAnotherThreadForgetsNotesAtTheNextBlock) {
  useUnison();
  instrument->beginBlock();
  noteOn(60);
  elsewhere([this] { instrument->setParameterValueForAddress(instrument->arpEnabled.address, 0.0F); });
  EXPECT_EQ(instrument->numActiveVoices(), 1);
  instrument->endBlock();

  instrument->beginBlock();

  EXPECT_EQ(instrument->numActiveVoices(), 0);
  EXPECT_TRUE(instrument->channelNotes.empty());
  EXPECT_EQ(order(), std::vector<int>{});
  EXPECT_EQ(gates(), (std::vector<int>{0, 0, 0, 0}));
  instrument->endBlock();
}

TEST_F(NoteStateOfInstrument, AVoiceModeOfAnotherThreadIsStoredAtOnceAndEndsNotesAtTheNextBlock) {
  instrument->beginBlock();
  noteOn(60);
  elsewhere([this] { instrument->setParameterValueForAddress(instrument->voiceMode.address, 1.0F); });
  EXPECT_EQ(instrument->voiceMode.value, 1.0F);
  EXPECT_EQ(voice(0).gate, 1);
  instrument->endBlock();

  instrument->beginBlock();

  EXPECT_EQ(voice(0).gate, 0);
  instrument->endBlock();
}

TEST_F(NoteStateOfInstrument, GateReachesTheFirstVoiceAloneAndTheLastRequestWins) {
  instrument->setGate(1);
  EXPECT_EQ(allCalls(), Calls{"0: setGate 1"});
  forget();
  instrument->beginBlock();
  elsewhere([this] {
    instrument->setGate(0);
    instrument->setGate(1);
    instrument->setGate(0);
  });
  instrument->endBlock();
  instrument->beginBlock();

  EXPECT_EQ(allCalls(), Calls{"0: setGate 0"});
  instrument->endBlock();
}

}  // namespace
}  // namespace morv
