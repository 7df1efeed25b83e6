#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "platform/Random.h"
#include "voice/EnvelopeStages.h"

namespace morv {
namespace {

constexpr double kLineRounding = 4e-7;  // a few float steps at values up to two

// At 1000 steps per second the stages have round lengths: 10, 20 and 8 samples.
struct Envelope {
  int time = 0;
  int state = 1;
  bool loop = false;
  bool sync = false;
  float rate = 1000.0F;
  float scale = 1.0F;
  float start = 0.0F;
  float attack = 0.01F;
  float decay = 0.02F;
  float sustain = 0.5F;
  float release = 0.008F;
  float tempo = 120.0F;

  float next() {
    return adsr_state(time, state, loop, sync, rate, scale, start, attack, decay, sustain, release, tempo);
  }
  float nextAds() {
    return ads_state(time, state, loop, sync, rate, scale, start, attack, decay, sustain, release, tempo);
  }
  float nextAd() {
    return ad_state(time, state, loop, sync, rate, scale, start, attack, decay, release, 0.0F);
  }
  EnvelopeStageSettings settings() const {
    return {loop, sync, rate, scale, start, attack, decay, sustain, release, tempo};
  }
};

TEST(EnvelopeStages, AttackClimbsFromItsStartToOne) {
  Envelope e;
  e.start = 0.2F;

  for (int t = 0; t <= 10; ++t) {
    ASSERT_EQ(e.state, 1);
    ASSERT_EQ(e.time, t);
    ASSERT_NEAR(static_cast<double>(e.next()), 0.2 + t * 0.8 / 10, kLineRounding);
  }

  EXPECT_EQ(e.state, 2);
  EXPECT_EQ(e.time, 11);
}

TEST(EnvelopeStages, AnAttackBetweenTwoSamplesPassesOneByPartOfAStep) {
  Envelope e;
  e.attack = 0.0095F;
  float last = 0;

  for (int t = 0; t <= 10; ++t) last = e.next();

  EXPECT_NEAR(static_cast<double>(last), 10 / 9.5, 1e-6);
  EXPECT_EQ(e.state, 2);
}

TEST(EnvelopeStages, DecayFallsToTheSustainAndHandsOver) {
  Envelope e;
  e.state = 2;
  e.time = 11;

  for (int t = 11; t <= 30; ++t) {
    ASSERT_EQ(e.state, 2);
    ASSERT_NEAR(static_cast<double>(e.next()), 1.0 - (t - 10) * 0.5 / 20, kLineRounding);
  }

  EXPECT_EQ(e.state, 3);
}

TEST(EnvelopeStages, SustainHoldsWithItsTimeAtTheStart) {
  Envelope e;
  e.state = 3;
  e.time = 500;

  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(e.next(), 0.5F);
    EXPECT_EQ(e.state, 3);
    EXPECT_EQ(e.time, 1);
  }
}

TEST(EnvelopeStages, ReleaseFallsToSilenceAndTheNextSampleIsIdle) {
  Envelope e;
  e.state = 4;
  e.sustain = 0.8F;

  for (int t = 0; t <= 8; ++t) {
    ASSERT_EQ(e.state, 4);
    ASSERT_NEAR(static_cast<double>(e.next()), 0.8 - t * 0.1, kLineRounding);
  }

  EXPECT_EQ(e.state, 0);
  EXPECT_EQ(e.next(), 0.0F);
  EXPECT_EQ(e.state, 0);
}

TEST(EnvelopeStages, AReleaseBetweenTwoSamplesEndsBelowZeroByPartOfAStep) {
  Envelope e;
  e.state = 4;
  e.sustain = 1.0F;
  e.release = 0.0075F;
  float last = 0;

  for (int t = 0; t <= 8; ++t) last = e.next();

  EXPECT_NEAR(static_cast<double>(last), 1 - 8 / 7.5, 1e-6);
  EXPECT_EQ(e.state, 0);
}

TEST(EnvelopeStages, IdleIsSilentAndItsTimeNeverOverflows) {
  Envelope e;
  e.state = 0;
  e.time = 44100;

  EXPECT_EQ(e.next(), 0.0F);
  EXPECT_EQ(e.time, 44101);
  e.time = (1 << 30) - 1;
  for (int i = 0; i < 4; ++i) e.next();
  EXPECT_EQ(e.time, 1 << 30);
}

TEST(EnvelopeStages, HoldingIsABlockOfSustainOrIdleAndNothingElse) {
  for (int state = 0; state <= 4; ++state) {
    for (const int frames : {0, 1, 7, 64}) {
      Envelope held, block;
      held.state = block.state = state;
      held.time = block.time = 3;
      held.scale = block.scale = 0.7F;
      std::vector<float> out(64, 55.0F);
      float value = 55.0F;

      const bool holds = adsr_state_hold(held.time, held.state, held.settings(), frames, value);

      ASSERT_EQ(holds, frames > 0 && (state == 0 || state == 3)) << state;
      if (!holds) continue;
      adsr_state_block(block.time, block.state, block.settings(), out.data(), frames);
      for (int i = 0; i < frames; ++i) ASSERT_EQ(out[static_cast<std::size_t>(i)], value);
      EXPECT_EQ(held.time, block.time);
      EXPECT_EQ(held.state, block.state);
    }
  }
}

TEST(EnvelopeStages, TheScaleMultipliesEveryStage) {
  Envelope plain;
  Envelope scaled;
  scaled.scale = 0.25F;

  for (int i = 0; i < 60; ++i) {
    if (i == 45) plain.state = scaled.state = 4;
    ASSERT_FLOAT_EQ(scaled.next(), 0.25F * plain.next());
  }
}

TEST(EnvelopeStages, ALoopGoesBackToTheAttackBehindItsDecay) {
  Envelope e;
  e.loop = true;

  for (int t = 0; t <= 30; ++t) e.next();

  EXPECT_EQ(e.state, 1);
  EXPECT_EQ(e.time, 1);
  EXPECT_NEAR(static_cast<double>(e.next()), 0.1, kLineRounding);
}

TEST(EnvelopeStages, ASyncedLoopWaitsForTheQuarterNoteAndFallsBelowZero) {
  Envelope e;
  e.loop = true;
  e.sync = true;
  e.tempo = 601.0F;  // a quarter note of 99.8 samples counts as 99
  float lowest = 0;

  for (int t = 0; t <= 99; ++t) {
    ASSERT_EQ(e.state, t <= 10 ? 1 : 2) << t;
    lowest = std::min(lowest, e.next());
  }

  EXPECT_EQ(e.state, 1);
  EXPECT_EQ(e.time, 1);
  EXPECT_NEAR(static_cast<double>(lowest), 1 - 89 * 0.5 / 20, 1e-6);
}

TEST(EnvelopeStages, ASyncedLoopNeverCutsItsDecay) {
  Envelope e;
  e.loop = true;
  e.sync = true;
  e.tempo = 6000.0F;  // a quarter note of 10 samples

  for (int t = 0; t <= 29; ++t) e.next();

  EXPECT_EQ(e.state, 2);
  e.next();
  EXPECT_EQ(e.state, 1);
}

TEST(EnvelopeStages, ASyncedLoopWithoutATempoWaitsOn) {
  Envelope e;
  e.loop = true;
  e.sync = true;
  e.tempo = 0.0F;

  for (int t = 0; t < 5000; ++t) ASSERT_TRUE(std::isfinite(e.next()));

  EXPECT_EQ(e.state, 2);
}

TEST(EnvelopeStages, AnEndingEnvelopesAttackLastsUntilItsTimeIsPassed) {
  Envelope e;
  e.sustain = 0.0F;

  for (int t = 0; t <= 10; ++t) {
    EXPECT_NEAR(static_cast<double>(e.nextAds()), t / 10.0, kLineRounding);
    ASSERT_EQ(e.state, 1);
  }
  EXPECT_NEAR(static_cast<double>(e.nextAds()), 1.1, kLineRounding);

  EXPECT_EQ(e.state, 2);
}

TEST(EnvelopeStages, AnEndingEnvelopeWithASustainGoesThereFromTheAttack) {
  Envelope e;

  for (int t = 0; t <= 11; ++t) e.nextAds();

  EXPECT_EQ(e.state, 3);
  EXPECT_EQ(e.nextAds(), 0.5F);
  EXPECT_EQ(e.time, 1);
}

TEST(EnvelopeStages, AnEndingEnvelopeIsIdleBehindItsDecay) {
  Envelope e;
  e.sustain = 0.0F;

  for (int t = 0; t <= 11; ++t) e.nextAds();
  for (int t = 12; t <= 30; ++t) {
    ASSERT_EQ(e.state, 2);
    ASSERT_NEAR(static_cast<double>(e.nextAds()), 1 - (t - 10) / 20.0, kLineRounding);
  }

  EXPECT_EQ(e.state, 0);
  EXPECT_EQ(e.nextAds(), 0.0F);
}

TEST(EnvelopeStages, AnEndingEnvelopesLoopStartsAtTimeZero) {
  Envelope e;
  e.sustain = 0.0F;
  e.loop = true;

  for (int t = 0; t <= 30; ++t) e.nextAds();

  EXPECT_EQ(e.state, 1);
  EXPECT_EQ(e.time, 0);
}

TEST(EnvelopeStages, AnEndingEnvelopesSyncedLoopWaitsForTheEighthNote) {
  Envelope e;
  e.sustain = 0.0F;
  e.loop = true;
  e.sync = true;
  e.tempo = 300.0F;  // an eighth note of 100 samples

  for (int t = 0; t < 100; ++t) e.nextAds();

  EXPECT_EQ(e.state, 2);
  e.nextAds();
  EXPECT_EQ(e.state, 1);
}

TEST(EnvelopeStages, AnEndingEnvelopeReleasesFromItsStartInTheDecaysTime) {
  Envelope e;
  e.state = 4;
  e.start = 0.6F;

  for (int t = 0; t <= 20; ++t) {
    ASSERT_EQ(e.state, 4);
    ASSERT_NEAR(static_cast<double>(e.nextAds()), 0.6 - t * 0.6 / 20, kLineRounding);
  }

  EXPECT_EQ(e.state, 0);
}

TEST(EnvelopeStages, AttackAndDecayIsTheEndingEnvelopeWithoutSustain) {
  Envelope ad;
  Envelope ads;
  ads.sustain = 0.0F;

  for (int i = 0; i < 60; ++i) ASSERT_EQ(ad.nextAd(), ads.nextAds());

  EXPECT_EQ(ad.state, 0);
}

TEST(EnvelopeStages, ASyncedAttackAndDecayWaitsForAnEighthNoteAtOneBeatPerMinute) {
  Envelope e;
  e.loop = true;
  e.sync = true;

  for (int t = 0; t < 30000; ++t) e.nextAd();  // 30 s

  EXPECT_EQ(e.state, 2);
  e.nextAd();
  EXPECT_EQ(e.state, 1);
}

TEST(EnvelopeStages, TheRecordStartsWithItsInitialValues) {
  EnvelopeState record{0.3F, 0.3F, 0.3F, 0.3F, 0.3F, 0.3F, 0.3F, 3, 3};

  initEnvState(record);

  EXPECT_EQ(record.sustain, 1.0F);
  EXPECT_EQ(record.start, 0.0F);
  EXPECT_EQ(record.level, 0.0F);
  EXPECT_EQ(record.velocity, 1.0F);
  EXPECT_EQ(record.attack, 0.1F);
  EXPECT_EQ(record.decay, 0.1F);
  EXPECT_EQ(record.release, 0.1F);
  EXPECT_EQ(record.time, 0);
  EXPECT_EQ(record.state, 0);
}

TEST(EnvelopeStages, TheRecordsEnvelopeKeepsItsLevel) {
  EnvelopeState record;
  initEnvState(record);
  record.state = 1;
  record.start = 0.1F;
  record.sustain = 0.4F;
  record.velocity = 0.5F;
  Envelope twin;
  twin.start = 0.1F;
  twin.sustain = 0.4F;
  twin.scale = 0.5F;
  twin.attack = twin.decay = twin.release = 0.1F;

  for (int i = 0; i < 300; ++i) {
    const float want = twin.next();
    ASSERT_EQ(adsr_state2(record, 120.0F, 1000.0F), want);
    ASSERT_EQ(record.level, want);
  }
  EXPECT_EQ(record.state, 3);
}

TEST(EnvelopeStages, TheRecordsEnvelopeWithoutSustainEndsWithItsDecay) {
  EnvelopeState record;
  initEnvState(record);
  record.state = 1;
  record.sustain = 0.0F;

  for (int i = 0; i < 300; ++i) adsr_state2(record, 120.0F, 1000.0F);

  EXPECT_EQ(record.state, 0);
  EXPECT_EQ(record.level, 0.0F);
}

TEST(EnvelopeStages, ATimeDivisionIsAPartOfAFourBeatBar) {
  EXPECT_FLOAT_EQ(timeDivToPeriod(1.0F, 4.0F, 120.0F), 0.5F);
  EXPECT_FLOAT_EQ(timeDivToPeriod(4.0F, 4.0F, 120.0F), 2.0F);
  EXPECT_FLOAT_EQ(timeDivToPeriod(1.0F, 8.0F, 1.0F), 30.0F);
}

// Runs one envelope sample by sample and its twin stage by stage over blocks of random length, with random
// settings, gates and changes of state, and holds one to the other bit for bit.
void holdBlocksToSamples(std::uint64_t seed, int kind) {
  Random random(seed);
  const auto draw = [&](float low, float high) { return low + (high - low) * random.unit31(); };
  Envelope plain;
  plain.rate = random.unit31() < 0.5F ? 1000.0F : 44100.0F;
  Envelope block = plain;
  std::vector<float> out(512);
  for (int turn = 0; turn < 400; ++turn) {
    if (random.unit31() < 0.3F) {
      plain.loop = random.unit31() < 0.5F;
      plain.sync = random.unit31() < 0.5F;
      plain.scale = draw(0.0F, 1.2F);
      plain.start = draw(-0.2F, 1.0F);
      plain.attack = draw(0.0001F, 0.05F);
      plain.decay = draw(0.0001F, 0.05F);
      plain.sustain = random.unit31() < 0.3F ? 0.0F : draw(0.0F, 1.0F);
      plain.release = draw(0.0001F, 0.05F);
      plain.tempo = random.unit31() < 0.1F ? 0.0F : draw(30.0F, 6000.0F);
    }
    if (random.unit31() < 0.2F) {
      plain.state = static_cast<int>(draw(0.0F, 4.999F));
      plain.time = 0;
    }
    const int time = block.time;
    const int state = block.state;
    block = plain;
    if (plain.time != 0) {
      block.time = time;
      block.state = state;
    }
    const int frames = static_cast<int>(draw(0.0F, 512.0F));
    for (int done = 0; done < frames;) {
      const int before = block.state;
      const auto run = kind == 0 ? adsr_state_block : kind == 1 ? ads_state_block : ad_state_block;
      const int n = run(block.time, block.state, block.settings(), out.data() + done, frames - done);
      ASSERT_GE(n, 1);
      ASSERT_TRUE(n == frames - done || block.state != before);
      done += n;
    }
    for (int i = 0; i < frames; ++i) {
      const float want = kind == 0 ? plain.next() : kind == 1 ? plain.nextAds() : plain.nextAd();
      ASSERT_EQ(out[static_cast<std::size_t>(i)], want) << "seed " << seed << " turn " << turn << " " << i;
    }
    ASSERT_EQ(block.state, plain.state) << "seed " << seed << " turn " << turn;
    ASSERT_EQ(block.time, plain.time) << "seed " << seed << " turn " << turn;
  }
}

TEST(EnvelopeStages, BlocksAreTheSamplesBitForBit) {
  for (int kind = 0; kind < 3; ++kind) {
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
      SCOPED_TRACE(kind);
      holdBlocksToSamples(seed, kind);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(EnvelopeStages, NoFramesChangeNothing) {
  Envelope e;
  e.time = 7;

  EXPECT_EQ(adsr_state_block(e.time, e.state, e.settings(), nullptr, 0), 0);

  EXPECT_EQ(e.time, 7);
  EXPECT_EQ(e.state, 1);
}

}  // namespace
}  // namespace morv
