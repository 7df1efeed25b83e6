// Threads that meet on one instrument. The thread sanitizer runs these too.

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "render/NoteStateGuard.h"
#include "render/ZRDSPInstrumentKernel.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

constexpr int kBlocks = 3000;
constexpr int kRequests = 20000;

class TestKernel : public ZRDSPInstrumentKernel {
 public:
  TestKernel() = default;
};

// A voice without a log, so that long runs need no memory.
class QuietVoice : public ZRDSPVoice {
 public:
  using ZRDSPVoice::ZRDSPVoice;
  void reset() override {}
  void setGate(int newGate) noexcept override { gate = newGate; }
  void runGenerator(float* left, float* right, int frames, float /*tempo*/) noexcept override {
    for (int i = 0; i < frames; ++i) {
      left[i] += static_cast<float>(gate);
      right[i] += static_cast<float>(gate);
    }
  }
};

class NoteStateThreads : public ::testing::Test {
 protected:
  NoteStateThreads() {
    instrument->initWithNumberOfVoices<QuietVoice>(8, 44100.0F, 1024, kTurboFlags);
    instrument->midiMode = 0.0F;
    kernel.instrument = instrument;
    out.mNumberBuffers = 2;
    out.mBuffers[0].mData = left.data();
    out.mBuffers[1].mData = right.data();
    kernel.setBuffers(nullptr, &out);
  }
  void renderWithNote(std::mt19937& random) {
    AURenderEvent event{};
    event.MIDI = {nullptr,
                  0,
                  AURenderEventMIDI,
                  3,
                  0,
                  {static_cast<std::uint8_t>((random() & 1U) != 0 ? 0x90 : 0x80),
                   static_cast<std::uint8_t>(40 + random() % 30U), 100}};
    const AudioTimeStamp stamp{0};
    kernel.processWithEvents(&stamp, 16, &event);
  }
  std::shared_ptr<ZRDSPInstrument> instrument = std::make_shared<ZRDSPInstrument>(44100.0F);
  TestKernel kernel;
  std::vector<float> left = std::vector<float>(64);
  std::vector<float> right = std::vector<float>(64);
  AudioBufferList out;
};

TEST_F(NoteStateThreads, ForeignResetsNeverTearTheMapsOfTheRenderThread) {
  std::atomic<bool> rendering{true};
  std::thread notesOff([&] {
    while (rendering) instrument->setAllNotesOff();
  });
  std::thread modes([&] {
    for (int i = 0; rendering; ++i) {
      instrument->setParameterValueForAddress(instrument->voiceMode.address, static_cast<float>(i % 2));
      instrument->setParameterValueForAddress(instrument->arpEnabled.address, static_cast<float>(i % 3 == 0));
      kernel.setGate(i % 2);
    }
  });
  std::mt19937 random(4);

  for (int block = 0; block < kBlocks; ++block) {
    renderWithNote(random);
    instrument->beginBlock();
    int held = 0;
    instrument->heldNotes.forEach([&](int, const ZRDSPVoice* voice) {
      ++held;
      ASSERT_NE(voice, nullptr);
    });
    ASSERT_EQ(held, instrument->numActiveVoices());
    ASSERT_LE(instrument->noteOrder.size(), ZRDSPInstrument::kMaxHeldOrder);
    ASSERT_GE(instrument->voiceIndex, 0);
    instrument->endBlock();
  }
  rendering = false;
  notesOff.join();
  modes.join();

  instrument->setAllNotesOff();
  for (const auto& voice : instrument->voices) EXPECT_EQ(voice->gate, 0);
}

TEST_F(NoteStateThreads, ParametersAreWrittenAndReadWhileTheInstrumentRenders) {
  std::atomic<bool> rendering{true};
  std::thread writer([&] {
    for (int i = 0; rendering; ++i) {
      const auto value = static_cast<float>(i % 8);
      kernel.setParameter(static_cast<std::uint64_t>(instrument->volume.address), value / 8.0F, 0);
      kernel.setParameter(static_cast<std::uint64_t>(instrument->voiceNumber.address), value, 0);
      kernel.setParameter(0, value, 0);
      instrument->setNotePriority(i % 3);
      instrument->mpeBendRange = value;
      kernel.muted = i % 2 == 0;
      kernel.tempo = 100.0F + value;
    }
  });
  std::mt19937 random(5);

  float read = 0;
  for (int block = 0; block < kBlocks; ++block) {
    renderWithNote(random);
    read = kernel.getParameter(static_cast<std::uint64_t>(instrument->volume.address), 0);
    ASSERT_LE(read, 1.0F);
    ASSERT_EQ(instrument->parameters().size(), 26U);
  }
  rendering = false;
  writer.join();

  kernel.setParameter(static_cast<std::uint64_t>(instrument->volume.address), 0.5F, 0);
  EXPECT_EQ(instrument->volume.value, 0.5F);
}

TEST_F(NoteStateThreads, WalksOverParametersDoNotMeet) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        instrument->setParameterValueForAddress(0, static_cast<float>(i));
        instrument->setParameterValueForAddress(instrument->panSpread.address, 0.5F);
        if (instrument->parameters().size() != 26U) ++wrong;
        if (instrument->addressForIdentifier("panSpread") != instrument->panSpread.address) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(instrument->parameterValueForAddress(0), 499.0F);
}

// Every request is carried out, none inside another's turn, and none is left lying while nobody renders.
TEST(NoteStateGuardThreads, RequestsExcludeEachOtherAndBlocks) {
  NoteStateGuard guard;
  std::atomic<int> inside{0};
  std::atomic<int> met{0};
  int carriedOut = 0;  // guarded by the turn itself
  const auto turn = [&](std::uint32_t) {
    if (inside.fetch_add(1) != 0) ++met;
    ++carriedOut;
    inside.fetch_sub(1);
  };
  const auto block = [&] {
    guard.beginBlock(turn);
    if (inside.fetch_add(1) != 0) ++met;
    ++carriedOut;
    inside.fetch_sub(1);
    guard.endBlock();
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRequests; ++i) {
        guard.request(NoteStateGuard::kAllNotesOff, turn);
        // Two of the threads render now and then, as a host does that moves its callback between threads.
        if (t != 0 && i % 4 == 0) block();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(met, 0);
  EXPECT_GE(carriedOut, 2 * kRequests / 4);
}

TEST(NoteStateGuardThreads, NothingIsLeftLyingWhenNobodyRenders) {
  for (int round = 0; round < 300; ++round) {
    NoteStateGuard guard;
    std::uint32_t seen = 0;  // guarded by the turn itself
    const auto apply = [&](std::uint32_t bits) { seen |= bits; };
    std::atomic<int> ready{0};
    const auto ask = [&](std::uint32_t bits) {
      ++ready;
      while (ready < 2) {
      }
      guard.request(bits, apply);
    };
    std::thread one(ask, NoteStateGuard::kAllNotesOff);
    std::thread other(ask, NoteStateGuard::kClearNotes);
    one.join();
    other.join();

    ASSERT_EQ(seen, NoteStateGuard::kAllNotesOff | NoteStateGuard::kClearNotes) << "round " << round;
  }
}

}  // namespace
}  // namespace morv
