#!/usr/bin/env python3
"""Writes the factory presets beside this script, each as the whole state of the instrument.

A preset here is a category, a name and the few values in which it differs from a fresh instrument. `morv` renders
each on the standard phrase of its category; from what it measures the volume is set so that all are equally loud
(ITU-R BS.1770-4) and none comes near full scale. The script ends with an error if the result is out of bounds or
two presets sound too much alike. Plain Python 3, no packages; the same output on every run.

    resources/make_presets.py [path of morv]

This script and the presets are free for any use (CC0).
"""

import json
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
FOLDER = HERE / "Factory Presets"

LOUDNESS = -18.0  # LUFS
LOUDNESS_ERROR = 1.0  # LU, most that a preset may be off
PEAK = -1.0  # dBFS, highest peak
DISTANCE = 3.0  # dB, least root mean square difference of two octave spectra
ROUNDS = 4  # of measuring and setting the volume

# What pressure and slide do on an instrument that has them; channel 1 alone sounds as without.
FINGERS = dict(aftertouchAmount=1, slideAmount=1, glideAmount=1)

CHORUS = dict(vachorus__chorusBypass=0)
REVERB = dict(ecoverb__reverbBypass=0)
ECHO = dict(basicdelay__echoBypass=0)

# (prefix, name, values); "group__identifier" for effects.
PRESETS = [
    ("PL", "Copper Keys", dict(
        oscWave=0.75, oscPulseWidth=0.38, oscMainLevel=0.3, oscSubLevel=0.8, oscSubWave=0, oscSubOctave=2,
        filterCutoff=500, filterResonance=0.15, filterEnvModAmount=0.35, filterKeyTrackAmount=0.5,
        env1Attack=0.002, env1Decay=0.62, env1Sustain=0.25, env1Release=0.2, env1Velocity=0.5,
        env2Attack=0, env2Decay=0.38, env2Sustain=0.1, env2Release=0.25, env2Velocity=0.6,
        voiceDetune=0.03, panSpread=0.35,
        **CHORUS, vachorus__chorusMix=30, vachorus__chorusModFreq=0.6, vachorus__chorusModAmount=20,
        **REVERB, ecoverb__reverbMix=14, ecoverb__reverbSize=0.3, ecoverb__reverbDecay=0.35,
    )),
    ("PL", "Brass Parade", dict(
        oscWave=0.0, oscMainLevel=0.6, oscSubLevel=0.4, oscSubWave=0, oscSubOctave=1, voiceDetune=0.1, panSpread=0.5,
        filterCutoff=220, filterResonance=0.1, filterEnvModAmount=0.3, filterKeyTrackAmount=0.4,
        env1Attack=0.11, env1Decay=0.5, env1Sustain=0.85, env1Release=0.18, env1Velocity=0.3,
        env2Attack=0.15, env2Decay=0.5, env2Sustain=0.55, env2Release=0.2, env2Velocity=0.5,
        outputDistortion=0.06, outputDistortionTone=0.1, modwheelFilterFreqAmount=0.3,
        **REVERB, ecoverb__reverbMix=18, ecoverb__reverbSize=0.45, ecoverb__reverbDecay=0.45,
    )),
    ("PL", "Five Fingers", dict(
        **FINGERS, oscWave=0.5, oscPulseWidth=0.18, oscMainLevel=0.55,
        filterCutoff=1400, filterResonance=0.4, filterMode=0.3, filterEnvModAmount=0.3, filterKeyTrackAmount=0.6,
        filterFreqPressModAmount=0.35, oscShapeSlideModAmount=0.6, oscSubPressModAmount=0.3,
        outputDistortionSlideModAmount=0.2, lfoFreq=5.2, oscLFOModAmount=0.12, lfoFadeIn=0.15,
        env1Attack=0.03, env1Decay=0.6, env1Sustain=0.7, env1Release=0.25, env1Velocity=0.4,
        env2Attack=0.02, env2Decay=0.5, env2Sustain=0.4, env2Release=0.3, env2Velocity=0.5,
        **CHORUS, vachorus__chorusMix=22, vachorus__chorusModFreq=0.3, vachorus__chorusModAmount=18,
        **ECHO, basicdelay__echoMix=10, basicdelay__echoTime=330, basicdelay__echoFeedback=0.3,
        basicdelay__echoSpread=60, basicdelay__highpass=400,
    )),
    ("LD", "Silver Thread", dict(
        voiceMode=1, voiceNumber=1, legato=1, portamentoTime=0.1,
        oscWave=0.15, oscMainLevel=0.7, oscSubLevel=0.12, oscSubWave=1, oscSubOctave=1,
        filterCutoff=1300, filterResonance=0.32, filterEnvModAmount=0.35, filterKeyTrackAmount=0.7,
        lfoFreq=5.4, lfoFadeIn=0.02, oscLFOModAmount=0.5, modwheelLFOAmount=1, modwheelFilterFreqAmount=0.15,
        env1Attack=0.04, env1Decay=0.5, env1Sustain=0.85, env1Release=0.16, env1Velocity=0.2,
        env2Attack=0.06, env2Decay=0.35, env2Sustain=0.45, env2Release=0.2, env2Velocity=0.3,
        outputDistortion=0.1,
        **REVERB, ecoverb__reverbMix=12, ecoverb__reverbDecay=0.4,
        **ECHO, basicdelay__echoMix=18, basicdelay__echoTime=375, basicdelay__echoFeedback=0.35,
        basicdelay__echoSpread=40, basicdelay__highpass=300,
    )),
    ("LD", "Seven Saws", dict(
        voiceMode=1, voiceNumber=7, voiceDetune=0.22, panSpread=0.9, portamentoTime=0.04,
        oscWave=0.0, oscMainLevel=0.6, filterCutoff=5200, filterResonance=0.1, filterKeyTrackAmount=0.6,
        filterEnvModAmount=0.15, env1Attack=0.005, env1Decay=0.5, env1Sustain=0.9, env1Release=0.2,
        env2Decay=0.3, env2Sustain=0.3, env2Release=0.2,
        **REVERB, ecoverb__reverbMix=16, ecoverb__reverbSize=0.5, ecoverb__reverbDecay=0.5,
        **ECHO, basicdelay__echoMix=15, basicdelay__syncTempo=1, basicdelay__echoTime=320,
        basicdelay__echoFeedback=0.3, basicdelay__echoSpread=80, basicdelay__highpass=500,
    )),
    ("LD", "Reed Pipe", dict(
        **FINGERS, voiceMode=1, voiceNumber=1, legato=1, portamentoTime=0.05,
        oscWave=1.0, oscPulseWidth=0.5, oscMainLevel=0.7, oscNoiseLevel=0.05, oscNoisePressModAmount=0.15,
        filterCutoff=900, filterResonance=0.4, filterMode=0.0, filterKeyTrackAmount=0.9,
        filterFreqPressModAmount=0.3, oscPWSlideModAmount=0.35, lfoFreq=5.0, lfoFadeIn=0.25,
        oscLFOModAmount=0.15, env1Attack=0.09, env1Decay=0.5, env1Sustain=0.9, env1Release=0.15,
        env2Attack=0.05, env2Decay=0.3, env2Sustain=0.5, env2Release=0.2, filterEnvModAmount=0.12,
        **REVERB, ecoverb__reverbMix=24, ecoverb__reverbSize=0.55, ecoverb__reverbDecay=0.5,
    )),
    ("BS", "Cellar Door", dict(
        voiceMode=1, voiceNumber=1, oscWave=0.0, oscMainLevel=0.55, oscSubLevel=0.7, oscSubWave=1, oscSubOctave=1,
        filterCutoff=260, filterResonance=0.3, filterEnvModAmount=0.5, filterKeyTrackAmount=0.3,
        env1Attack=0.001, env1Decay=0.45, env1Sustain=0.7, env1Release=0.09, env1Velocity=0.3,
        env2Attack=0, env2Decay=0.3, env2Sustain=0.15, env2Release=0.1, env2Velocity=0.5,
        outputDistortion=0.12, outputDistortionTone=0.2,
    )),
    ("BS", "Bent Wire", dict(
        voiceMode=1, voiceNumber=2, voiceDetune=0.08, legato=1, portamentoTime=0.06,
        oscWave=0.8, oscPulseWidth=0.3, oscMainLevel=0.7, oscEnvModAmount=0.25, oscSubLevel=0.25, oscSubWave=0,
        filterCutoff=480, filterResonance=0.72, filterEnvModAmount=0.55, filterKeyTrackAmount=0.5,
        env1Attack=0.001, env1Decay=0.5, env1Sustain=0.6, env1Release=0.1, env1Velocity=0.3,
        env2Attack=0, env2Decay=0.36, env2Sustain=0, env2Release=0.12, env2Velocity=0.7,
        outputDistortion=0.45, outputDistortionTone=-0.15, modwheelFilterFreqAmount=0.4,
    )),
    ("PD", "Slow Weather", dict(
        oscWave=0.4, oscPulseWidth=0.42, oscPulsewidthLFOModAmount=0.35, oscMainLevel=0.45, oscSubLevel=0.35,
        oscSubWave=0, oscSubOctave=1, oscNoiseLevel=0.02, lfoFreq=0.35, filterLFOModAmount=0.06,
        voiceDetune=0.06, panSpread=0.8, filterCutoff=600, filterResonance=0.15, filterEnvModAmount=0.2,
        filterKeyTrackAmount=0.3, env1Attack=0.45, env1Decay=0.6, env1Sustain=0.9, env1Release=0.42,
        env2Attack=0.6, env2Decay=0.7, env2Sustain=0.6, env2Release=0.4, modwheelFilterFreqAmount=0.4,
        **CHORUS, vachorus__chorusMix=45, vachorus__chorusModFreq=0.4, vachorus__chorusModAmount=35,
        **REVERB, ecoverb__reverbMix=30, ecoverb__reverbSize=0.6, ecoverb__reverbDecay=0.6, ecoverb__modAmount=0.4,
    )),
    ("PD", "Glass Choir", dict(
        oscWave=0.9, oscPulseWidth=0.5, oscMainLevel=0.4, oscNoiseLevel=0.06, voiceDetune=0.04, panSpread=1,
        filterCutoff=420, filterResonance=0.35, filterMode=0.85, filterModeModAmount=0.15, lfoFreq=0.18, lfoShape=3,
        filterLFOModAmount=0.08, filterKeyTrackAmount=0.3,
        env1Attack=0.38, env1Decay=0.6, env1Sustain=0.85, env1Release=0.45, env2Attack=0.5, env2Sustain=0.7,
        **CHORUS, vachorus__chorusMix=35, vachorus__chorusModFreq=0.2, vachorus__chorusModAmount=40,
        **REVERB, ecoverb__reverbMix=42, ecoverb__reverbSize=0.8, ecoverb__reverbDecay=0.65, ecoverb__modAmount=0.6,
    )),
    ("RT", "Clockwork Stairs", dict(
        oscWave=0.1, oscMainLevel=0.6, oscSubLevel=0.25, oscSubWave=1, oscSubOctave=1, panSpread=0.7,
        filterCutoff=520, filterResonance=0.38, filterEnvModAmount=0.5, filterKeyTrackAmount=0.4,
        env1Attack=0.004, env1Decay=0.35, env1Sustain=0.3, env1Release=0.12,
        env2Attack=0, env2Decay=0.2, env2Sustain=0.1, env2Release=0.12,
        arpEnabled=1, arpMode=2, arpClockDivision=6, arpRange=1, arpGateLength=60,
        **CHORUS, vachorus__chorusMix=25,
        **REVERB, ecoverb__reverbMix=16, ecoverb__reverbDecay=0.45,
        **ECHO, basicdelay__syncTempo=1, basicdelay__echoTime=320, basicdelay__echoMix=24,
        basicdelay__echoFeedback=0.4, basicdelay__highpass=250,
    )),
    ("RT", "Steam Engine", dict(
        oscWave=1.0, oscPulseWidth=0.22, oscMainLevel=0.45, oscNoiseLevel=0.3, panSpread=0.6,
        filterCutoff=420, filterResonance=0.5, filterMode=0.2, filterEnvModAmount=0.55,
        env1Attack=0.004, env1Decay=0.4, env1Sustain=0.9, env1Release=0.15,
        env2Attack=0.02, env2Decay=0.19, env2Sustain=0, env2Loop=1, env2Sync=1, env2Release=0.15,
        lfoShape=4, lfoFreq=8, filterLFOModAmount=0.2,
        outputDistortion=0.2, outputDistortionTone=0.1,
        **ECHO, basicdelay__syncTempo=1, basicdelay__echoTime=420, basicdelay__echoMix=22,
        basicdelay__echoFeedback=0.45, basicdelay__echoSpread=50, basicdelay__highpass=600,
    )),
    ("AT", "Tide Pool", dict(
        oscWave=0.3, oscMainLevel=0.25, oscSubLevel=0.6, oscSubWave=0, oscSubDetune=7, oscNoiseLevel=0.03,
        filterCutoff=160, filterResonance=0.45, lfoShape=0, lfoFreq=0.13, filterLFOModAmount=0.15,
        filterQLFOAmount=0.3, voiceDetune=0.15, panSpread=1, filterKeyTrackAmount=0.2,
        env1Attack=0.6, env1Decay=0.8, env1Sustain=0.9, env1Release=0.55, env2Attack=0.8,
        **CHORUS, vachorus__chorusMix=40, vachorus__chorusModFreq=0.15, vachorus__chorusModAmount=45,
        vachorus__modShape=1,
        **REVERB, ecoverb__reverbMix=50, ecoverb__reverbSize=0.9, ecoverb__reverbDecay=0.68, ecoverb__modAmount=0.7,
        **ECHO, basicdelay__echoMix=20, basicdelay__echoTime=480, basicdelay__echoFeedback=0.45,
        basicdelay__echoSpread=100, basicdelay__highpass=200,
    )),
    ("AT", "Far Lantern", dict(
        oscWave=0.6, oscPulseWidth=0.35, oscMainLevel=0.45, oscNoiseLevel=0.12, oscPulsewidthLFOModAmount=0.3,
        filterCutoff=700, filterResonance=0.3, filterMode=0.6, filterModeModAmount=0.4, filterLFOModAmount=0.1,
        lfoShape=3, lfoFreq=0.21, voiceDetune=0.08, panSpread=1, filterKeyTrackAmount=0.2,
        env1Attack=0.5, env1Decay=0.8, env1Sustain=0.8, env1Release=0.5, env2Attack=0.7,
        **REVERB, ecoverb__reverbMix=46, ecoverb__reverbSize=0.75, ecoverb__reverbDecay=0.66, ecoverb__modAmount=0.5,
        **ECHO, basicdelay__echoMix=26, basicdelay__echoTime=410, basicdelay__echoFeedback=0.5,
        basicdelay__echoSpread=100, basicdelay__highpass=800,
    )),
    ("INIT", "Plain Saw", dict(
        oscWave=0.0, oscMainLevel=0.5, filterCutoff=20000, filterResonance=0,
        env1Attack=0.004, env1Decay=0.5, env1Sustain=1, env1Release=0.1, env2Attack=0, env2Sustain=1,
    )),
    ("INIT", "Plain Fingers", dict(
        **FINGERS, oscWave=1.0, oscPulseWidth=0.5, oscMainLevel=0.5, filterCutoff=700, filterResonance=0.1,
        filterKeyTrackAmount=0.5, filterFreqPressModAmount=0.4, oscPWSlideModAmount=0.4,
        env1Attack=0.01, env1Decay=0.5, env1Sustain=0.9, env1Release=0.2, env2Attack=0, env2Sustain=1,
    )),
]


def file_name(prefix, name):
    return f"[FACTORY]_{prefix}_{name}"


def write_preset(morv, folder, prefix, name, values, volume):
    sets = [f"--set={key.replace('__', '.')}={value}" for key, value in {**values, "volume": volume}.items()]
    out = folder / (file_name(prefix, name) + ".aupreset")
    subprocess.run([morv, "presets", "export-state", *sets, f"--out={out}"], check=True)


def measure(morv, resources):
    """Rows of `morv presets render-all` by name; 12 seconds of tail hold whatever rings on."""
    with tempfile.TemporaryDirectory() as sounds:
        command = [morv, "presets", "render-all", f"--resources={resources}", f"--out={sounds}", "--tail=12", "--json"]
        rows = json.loads(subprocess.run(command, check=True, capture_output=True).stdout)
    return {row["name"]: row for row in rows}


def distance(a, b):
    squares = [(x - y) ** 2 for x, y in zip(a["octavesDb"], b["octavesDb"])]
    return (sum(squares) / len(squares)) ** 0.5


def faults(rows):
    """What is out of bounds, in words."""
    for name, row in rows.items():
        if abs(row["loudnessLufs"] - LOUDNESS) > LOUDNESS_ERROR:
            yield f"{name}: {row['loudnessLufs']} LUFS instead of {LOUDNESS}"
        if row["peakDb"] > PEAK:
            yield f"{name}: peak {row['peakDb']} dBFS"
    names = sorted(rows)
    for i, a in enumerate(names):
        for b in names[:i]:
            if (apart := distance(rows[a], rows[b])) < DISTANCE:
                yield f"{a} and {b} are only {apart:.2f} dB apart"


def main():
    morv = sys.argv[1] if len(sys.argv) > 1 else str(HERE.parent / "build/release/bin/morv")
    volumes = {name: 0.5 for _, name, _ in PRESETS}
    with tempfile.TemporaryDirectory() as folder:
        resources = Path(folder)
        (resources / "Factory Presets").mkdir()
        (resources / "Categories.plist").write_bytes((HERE / "Categories.plist").read_bytes())
        for _ in range(ROUNDS):
            for prefix, name, values in PRESETS:
                write_preset(morv, resources / "Factory Presets", prefix, name, values, volumes[name])
            rows = measure(morv, resources)
            for prefix, name, _ in PRESETS:
                error = LOUDNESS - rows[file_name(prefix, name)]["loudnessLufs"]
                volumes[name] = min(1.0, round(volumes[name] * 10 ** (error / 20), 3))
    FOLDER.mkdir(exist_ok=True)
    for old in FOLDER.glob("*.aupreset"):
        old.unlink()
    for prefix, name, values in PRESETS:
        write_preset(morv, FOLDER, prefix, name, values, volumes[name])
    rows = measure(morv, HERE)
    for name, row in rows.items():
        nearest = min(distance(row, other) for key, other in rows.items() if key != name)
        print(f"{name:40} {row['loudnessLufs']:7.2f} LUFS {row['peakDb']:7.2f} dBFS, nearest {nearest:5.2f} dB")
    found = list(faults(rows))
    if found:
        print("\n".join(found), file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
