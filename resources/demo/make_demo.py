#!/usr/bin/env python3
"""Writes the demo piece beside this script: demo.mid (the notes) and demo.csv (the knobs).

The instrument plays one patch at a time, so the piece shows its sides in turn: a dry bass, a pad in chorus and
reverb, a lead with echo, an arpeggio, and a close in which all registers sound together. The CSV changes the patch in the rests between the sections and
turns knobs inside them. Plain Python 3, no packages; the same output on every run.

This script, demo.mid and demo.csv are free for any use (CC0).
"""

from pathlib import Path

TICKS = 480  # per quarter note
BAR = 4 * TICKS
EIGHTH = TICKS // 2
SIXTEENTH = TICKS // 4

# Beats per minute from a bar on; the close slows down.
TEMPI = [(0, 100.0), (21, 92.0), (22, 80.0)]

BASS, PAD, LEAD, ARP, CLOSE, END = 0, 4, 9, 15, 19, 23  # first bars of the sections


def ticks(bar, beat=0.0):
    """Tick of a beat (from 0) in a bar (from 0)."""
    return bar * BAR + round(beat * TICKS)


def seconds(tick):
    """Time of a tick by the tempo map."""
    time = 0.0
    for i, (bar, bpm) in enumerate(TEMPI):
        start = ticks(bar)
        stop = ticks(TEMPI[i + 1][0]) if i + 1 < len(TEMPI) else tick
        if tick <= start:
            break
        time += (min(tick, stop) - start) / TICKS * 60.0 / bpm
    return time


class Piece:
    """Collects timed MIDI messages and knob moves."""

    def __init__(self):
        self.messages = []  # (tick, rank, order, bytes); rank keeps a note-off ahead of a note-on of its tick
        self.moves = []  # (seconds, order, identifier, value)

    def message(self, tick, rank, *data):
        self.messages.append((tick, rank, len(self.messages), bytes(data)))

    def note(self, tick, length, number, velocity):
        self.message(tick, 2, 0x90, number, velocity)
        self.message(tick + length, 0, 0x80, number, 64)

    def wheel(self, tick, value):
        self.message(tick, 1, 0xB0, 1, value)

    def bend(self, tick, semitones):
        """Pitch bend; outside MPE the wheel reaches 2 semitones up and 12 down."""
        amount = semitones / 2 if semitones > 0 else semitones / 12
        value = min(16383, round(8192 + amount * 8192))
        self.message(tick, 1, 0xE0, value & 127, value >> 7)

    def set(self, tick, **knobs):
        for identifier, value in knobs.items():
            self.moves.append((seconds(tick), len(self.moves), identifier, value))

    def effects(self, tick, **knobs):
        """Knobs of the effects: group and identifier joined by two underscores."""
        self.set(tick, **{name.replace("__", "."): value for name, value in knobs.items()})

    def sweep(self, start, stop, identifier, begin, end, steps=48):
        """A knob that moves in equal ratios, or in equal steps when an end is 0."""
        for i in range(steps + 1):
            x = i / steps
            value = begin + (end - begin) * x if begin * end == 0 else begin * (end / begin) ** x
            self.set(round(start + (stop - start) * x), **{identifier: round(value, 4)})


def bass(piece):
    start = ticks(BASS)
    piece.set(start, midiMode=0, volume=0.9)
    piece.set(
        start,
        voiceMode=1, voiceNumber=1, voiceDetune=0, legato=0, panSpread=0, portamentoTime=0,
        oscWave=0.0, oscPulseWidth=0.5, oscMainLevel=0.7, oscSubLevel=0.6, oscSubWave=1, oscSubOctave=1,
        oscNoiseLevel=0, filterCutoff=220, filterResonance=0.35, filterMode=0, filterEnvModAmount=0.6,
        filterKeyTrackAmount=0.2, filterLFOModAmount=0, oscLFOModAmount=0,
        env1Attack=0.001, env1Decay=0.3, env1Sustain=0.8, env1Release=0.09, env1Velocity=0.3,
        env2Attack=0, env2Decay=0.22, env2Sustain=0.2, env2Release=0.1, env2Velocity=0.5,
        outputDistortion=0.05, outputDistortionTone=0.2,
    )
    # (bar, beat, length in sixteenths, note, velocity): around D, with a walk down at the end.
    line = []
    for bar, (root, fifth, seventh) in enumerate([(38, 45, 48), (38, 45, 48), (34, 41, 45), (36, 43, 46)]):
        line += [
            (bar, 0.0, 3, root, 112), (bar, 0.75, 1, root, 70), (bar, 1.0, 2, root + 12, 96),
            (bar, 1.5, 2, root, 88), (bar, 2.25, 1, fifth, 92), (bar, 2.5, 2, seventh, 100),
        ]
        if bar < 3:
            line += [(bar, 3.0, 2, fifth, 84), (bar, 3.5, 1, root, 76), (bar, 3.75, 1, root + 12, 90)]
        else:
            line += [(bar, 3.0, 2, root, 104)]
    for bar, beat, sixteenths, number, velocity in line:
        piece.note(ticks(BASS + bar, beat), sixteenths * SIXTEENTH - 12, number, velocity)
    piece.sweep(start, ticks(BASS + 4), "filterCutoff", 220, 1000)
    piece.sweep(ticks(BASS + 2), ticks(BASS + 4), "outputDistortion", 0.05, 0.25)


def pad_patch(piece, tick):
    piece.set(
        tick,
        volume=0.33, voiceMode=0, voiceNumber=8, voiceDetune=0.03, panSpread=0.8, portamentoTime=0,
        oscWave=0.35, oscPulseWidth=0.42, oscPulsewidthLFOModAmount=0.3, oscMainLevel=0.42,
        oscSubLevel=0.12, oscSubWave=0, oscSubOctave=1, oscNoiseLevel=0.02,
        lfoShape=0, lfoFreq=0.35, lfoFadeIn=0, lfoRange=0, filterLFOModAmount=0.06,
        filterCutoff=420, filterResonance=0.2, filterMode=0, filterEnvModAmount=0.25,
        filterKeyTrackAmount=0.3,
        env1Attack=0.42, env1Decay=0.6, env1Sustain=0.9, env1Release=0.22, env1Velocity=0.2,
        env2Attack=0.5, env2Decay=0.6, env2Sustain=0.6, env2Release=0.3, env2Velocity=0,
        outputDistortion=0, outputDistortionTone=0,
    )


def pad(piece):
    start = ticks(PAD)
    pad_patch(piece, start - EIGHTH)
    piece.effects(
        start - EIGHTH,
        vachorus__chorusBypass=0, vachorus__chorusMix=45, vachorus__chorusModFreq=0.4, vachorus__chorusModAmount=35,
        ecoverb__reverbBypass=0, ecoverb__reverbMix=30, ecoverb__reverbSize=0.6, ecoverb__reverbDecay=0.6,
        ecoverb__modAmount=0.4,
    )
    chords = [
        (50, 57, 60, 64, 65),  # D minor with ninth
        (46, 57, 58, 62, 65),  # B flat, major seventh
        (45, 55, 60, 64, 65),  # F with ninth over A
        (48, 55, 57, 62, 64),  # C with sixth and ninth
        (50, 57, 62, 65, 69),  # D minor
    ]
    for bar, chord in enumerate(chords):
        length = BAR - 4 * EIGHTH if bar == 4 else BAR - 30
        for i, number in enumerate(chord):
            piece.note(ticks(PAD + bar) + 10 * i, length - 10 * i, number, 72 + 4 * i)
    piece.sweep(start, ticks(PAD + 3), "filterCutoff", 420, 2400, 64)
    piece.sweep(ticks(PAD + 3), ticks(PAD + 5), "filterCutoff", 2400, 700, 48)


def lead(piece):
    start = ticks(LEAD)
    # The wheel opens the vibrato: with a fade-in above 0 the LFO keeps silent until the wheel lets it through.
    piece.set(
        start - EIGHTH // 2,
        volume=0.9, voiceMode=1, voiceNumber=1, voiceDetune=0, panSpread=0, portamentoTime=0.12, legato=1,
        oscWave=0.15, oscPulseWidth=0.5, oscPulsewidthLFOModAmount=0, oscMainLevel=0.6,
        oscSubLevel=0.15, oscSubWave=1, oscSubOctave=1, oscNoiseLevel=0,
        lfoShape=0, lfoFreq=5.4, lfoFadeIn=0.02, oscLFOModAmount=0.6, modwheelLFOAmount=1,
        filterLFOModAmount=0, filterCutoff=900, filterResonance=0.3, filterEnvModAmount=0.4,
        filterKeyTrackAmount=0.6, modwheelFilterFreqAmount=0.12,
        env1Attack=0.05, env1Decay=0.5, env1Sustain=0.85, env1Release=0.16, env1Velocity=0.2,
        env2Attack=0.08, env2Decay=0.35, env2Sustain=0.45, env2Release=0.2, env2Velocity=0.3,
        outputDistortion=0.12, outputDistortionTone=-0.1,
    )
    piece.effects(
        start - EIGHTH // 2,
        vachorus__chorusMix=0, ecoverb__reverbMix=18, ecoverb__reverbDecay=0.45,
        basicdelay__echoBypass=0, basicdelay__echoMix=20, basicdelay__echoTime=450, basicdelay__echoFeedback=0.35,
        basicdelay__echoSpread=40, basicdelay__highpass=300,
    )
    # (bar, beat, length in beats, note, velocity); lengths that overlap the next note slide into it.
    melody = [
        (0, 0.0, 1.1, 69, 100), (0, 1.0, 0.6, 72, 96), (0, 1.5, 2.2, 74, 108),
        (1, 0.0, 0.6, 77, 104), (1, 0.5, 0.6, 76, 92), (1, 1.0, 1.1, 74, 96), (1, 2.0, 1.8, 69, 100),
        (2, 0.0, 1.1, 70, 98), (2, 1.0, 0.6, 74, 96), (2, 1.5, 0.6, 72, 90), (2, 2.0, 1.8, 77, 112),
        (3, 0.0, 1.6, 76, 104), (3, 1.5, 0.6, 72, 92), (3, 2.0, 1.8, 74, 100),
        (4, 0.0, 0.35, 74, 96), (4, 0.25, 0.35, 76, 96), (4, 0.5, 0.35, 77, 100), (4, 0.75, 0.35, 79, 104),
        (4, 1.0, 2.9, 81, 118),
        (5, 0.0, 0.6, 79, 100), (5, 0.5, 0.6, 77, 96), (5, 1.0, 2.3, 74, 104),
    ]
    for bar, beat, beats, number, velocity in melody:
        piece.note(ticks(LEAD + bar, beat), round(beats * TICKS), number, velocity)
    wheel_swells = [(0, 2.0, 3.6, 90), (1, 2.5, 3.6, 80), (2, 2.5, 3.7, 100), (3, 2.5, 3.7, 90),
                    (4, 1.75, 3.75, 127), (5, 1.75, 3.2, 110)]
    for bar, begin, end, depth in wheel_swells:
        for i in range(17):
            piece.wheel(ticks(LEAD + bar, begin + (end - begin) * i / 16), round(depth * i / 16))
        piece.wheel(ticks(LEAD + bar, end + 0.1), 0)
    # Down a semitone and back, up a whole tone and back under the high note, a fall of an octave at the end.
    for i in range(17):
        x = i / 16
        arch = 1 - abs(2 * x - 1)
        piece.bend(ticks(LEAD + 1, 3.0 + 0.5 * x), -1.0 * arch)
        piece.bend(ticks(LEAD + 4, 2.0 + 1.0 * x), 2.0 * arch)
        piece.bend(ticks(LEAD + 5, 2.7 + 0.6 * x), -12.0 * x)
    piece.bend(ticks(LEAD + 5, 3.75), 0.0)
    piece.sweep(ticks(LEAD + 3), ticks(LEAD + 5), "filterCutoff", 900, 2600)


def arpeggio(piece):
    start = ticks(ARP)
    # Late in the rest, as below. The arpeggiator strikes what is held in sixteenths, and the echo answers on eighths.
    change = start - EIGHTH // 8
    piece.set(
        change,
        legato=0, modwheelLFOAmount=0, modwheelFilterFreqAmount=0, oscLFOModAmount=0,
        volume=0.6, voiceMode=0, voiceNumber=8, panSpread=0.7, portamentoTime=0,
        oscWave=0.1, oscMainLevel=0.6, oscSubLevel=0.25, oscSubWave=1, oscSubOctave=1,
        filterCutoff=380, filterResonance=0.35, filterEnvModAmount=0.55, filterKeyTrackAmount=0.4,
        env1Attack=0.004, env1Decay=0.35, env1Sustain=0.3, env1Release=0.12, env1Velocity=0,
        env2Attack=0, env2Decay=0.2, env2Sustain=0.1, env2Release=0.12, env2Velocity=0,
        outputDistortion=0.05, outputDistortionTone=0,
        arpMode=2, arpClockDivision=6, arpRange=1, arpGateLength=60, arpLatch=0, arpEnabled=1,
    )
    piece.effects(
        change,
        vachorus__chorusMix=35, ecoverb__reverbMix=22, ecoverb__reverbDecay=0.5,
        basicdelay__syncTempo=1, basicdelay__echoTime=320, basicdelay__echoMix=26, basicdelay__echoFeedback=0.45,
    )
    chords = [(50, 57, 62, 65), (46, 53, 58, 65), (48, 55, 60, 64), (45, 52, 57, 60)]
    for bar, chord in enumerate(chords):
        for number in chord:
            piece.note(ticks(ARP + bar), BAR - (EIGHTH if bar == 3 else 20), number, 100)
    piece.sweep(start, ticks(ARP + 3), "filterCutoff", 380, 1500)
    piece.sweep(ticks(ARP + 3), ticks(ARP + 4) - EIGHTH, "filterCutoff", 1500, 600)
    piece.set(ticks(ARP + 4) - SIXTEENTH, arpEnabled=0)


def close(piece):
    start = ticks(CLOSE)
    # Late in the rest: a longer release would bring the lead's last note, still fading, back with a click.
    change = start - EIGHTH // 8
    pad_patch(piece, change)
    piece.effects(
        change,
        vachorus__chorusMix=45, ecoverb__reverbMix=30, ecoverb__reverbSize=0.7, ecoverb__reverbDecay=0.5,
        basicdelay__echoFeedback=0.2, basicdelay__echoMix=12,
    )
    piece.set(change, volume=0.43, env1Attack=0.12, env1Release=0.35, env2Attack=0.2, filterCutoff=900)
    chords = [(34, 53, 57, 62), (36, 52, 55, 62), (41, 53, 57, 60), (38, 50, 57, 65)]
    for bar, chord in enumerate(chords):
        length = BAR if bar == 3 else BAR - 40
        for number in chord:
            piece.note(ticks(CLOSE + bar), length, number, 84)
    for bar, beat, beats, number in [(0, 0.5, 1.4, 74), (0, 2.0, 1.9, 77), (1, 0.5, 1.4, 76), (1, 2.0, 1.9, 72),
                                     (2, 0.5, 1.4, 69), (2, 2.0, 1.9, 72), (3, 0.5, 3.5, 74), (3, 1.0, 3.0, 81)]:
        piece.note(ticks(CLOSE + bar, beat), round(beats * TICKS), number, 96)
    piece.sweep(ticks(CLOSE + 2), ticks(END), "filterCutoff", 900, 300)


def variable_length(number):
    data = bytes([number & 127])
    while number := number >> 7:
        data = bytes([number & 127 | 128]) + data
    return data


def track(messages):
    """A track chunk of (tick, bytes) in order."""
    data, now = b"", 0
    for tick, content in messages:
        data += variable_length(tick - now) + content
        now = tick
    data += bytes([0, 0xFF, 0x2F, 0])
    return b"MTrk" + len(data).to_bytes(4, "big") + data


def midi_file(piece):
    name = b"MORV demo"
    conductor = [(0, bytes([0xFF, 0x03, len(name)]) + name), (0, bytes([0xFF, 0x58, 4, 4, 2, 24, 8]))]
    for bar, bpm in TEMPI:
        conductor.append((ticks(bar), bytes([0xFF, 0x51, 3]) + round(60e6 / bpm).to_bytes(3, "big")))
    notes = [(tick, data) for tick, _, _, data in sorted(piece.messages)]
    header = b"MThd" + (6).to_bytes(4, "big") + b"".join(n.to_bytes(2, "big") for n in (1, 2, TICKS))
    return header + track(conductor) + track(notes)


def main():
    piece = Piece()
    for section in (bass, pad, lead, arpeggio, close):
        section(piece)
    here = Path(__file__).parent
    (here / "demo.mid").write_bytes(midi_file(piece))
    rows = [f"{time:.4f},{identifier},{value}" for time, _, identifier, value in sorted(piece.moves)]
    (here / "demo.csv").write_text("\n".join(["seconds,identifier,value", *rows]) + "\n")


if __name__ == "__main__":
    main()
