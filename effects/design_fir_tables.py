#!/usr/bin/env python3
"""Designs the low-pass tables of the oversampling filters and writes effects/FIRTables.cpp.

Each table is an equiripple linear-phase design: the Remez exchange of Parks and McClellan (1972) over a fixed
grid, with barycentric interpolation through the extremal points. The pass band of the oversampling filters
ends at 20 kHz and the stop band begins at 22 kHz of a rate that is a multiple of 44.1 or 48 kHz, so the tables
are good for any rate in that ratio. The filters behind a unit that runs at half the rate stop what a quarter
of the rate mirrors. Where the sum of a table is not 1, that is the pass-band ripple at 0 Hz.

    design_fir_tables.py           writes FIRTables.cpp beside this script
    design_fir_tables.py --check   exits with 1 if that file differs from what would be written
"""

import math
import pathlib
import struct
import sys
from typing import NamedTuple

# Weight of the stop band for 0.1 dB of ripple, peak to peak, against 96 dB of attenuation.
RIPPLE = (10 ** (0.1 / 20) - 1) / (10 ** (0.1 / 20) + 1)
STEEP_WEIGHT = RIPPLE / 10 ** (-96 / 20)


class Design(NamedTuple):
    name: str
    length: int
    rate: float  # Hz
    weight: float  # of an error in the stop band, against 1 in the pass band
    density: int  # grid points per extremal point, about
    purpose: str
    pass_edge: float = 20000.0  # Hz
    stop_edge: float = 22000.0


DESIGNS = (
    Design("2x", 169, 2 * 44100.0, STEEP_WEIGHT, 20, "2 x 44.1 kHz"),
    Design("4x", 301, 4 * 44100.0, 1.0, 20, "4 x 44.1 kHz"),
    Design("8x", 674, 8 * 44100.0, STEEP_WEIGHT, 20, "8 x 44.1 kHz"),
    Design("8x2", 763, 8 * 48000.0, 264.98, 16, "8 x 48 kHz"),
    Design("Spring", 49, 44100.0, 50.76, 20, "a spring that runs at half of 44.1 kHz", 9400.0, 11025.0),
    Design("LoFi", 113, 44100.0, 30.48, 20, "a reverb that runs at half of 44.1 kHz", 10300.0, 11025.0),
    # The slope of the filter for oversampling by 4, at twice the frequency.
    Design("Chorus", 113, 44100.0, 1.0, 20, "a chorus that loses the upper half of its band", 9670.0, 11000.0),
)

MOST_EXCHANGES = 50
RIPPLE_TOLERANCE = 1e-10  # relative spread of the extremal errors at which the exchange has settled


class Grid(NamedTuple):
    """Points on which the error is judged, in cycles per sample, with what is wanted there and how much."""

    frequencies: list
    wanted: list
    weights: list
    ends: list  # one past the last point of each band


def make_grid(design, unknowns):
    even = design.length % 2 == 0
    step = 0.5 / (design.density * unknowns)
    grid = Grid([], [], [], [])
    edges = (design.pass_edge / design.rate, design.stop_edge / design.rate)
    bands = ((0.0, edges[0], 1.0, 1.0), (edges[1], 0.5, 0.0, design.weight))
    for low, high, wanted, weight in bands:
        points = []
        while low + step * len(points) <= high:
            points.append(low + step * len(points))
        points[-1] = high
        for f in points:
            # An even length has a zero at half the rate: the response is cos(pi f) times a cosine sum.
            factor = math.cos(math.pi * f) if even else 1.0
            if factor < 1e-3:
                continue
            grid.frequencies.append(f)
            grid.wanted.append(wanted / factor)
            grid.weights.append(weight * factor)
        grid.ends.append(len(grid.frequencies))
    return grid


class Interpolant:
    """The cosine polynomial whose weighted error alternates with equal height over the given points."""

    def __init__(self, grid, points):
        x = [math.cos(2 * math.pi * grid.frequencies[p]) for p in points]
        count = len(x)
        # The products would leave the range of a double if taken in order; striding evens them out.
        stride = (count - 2) // 15 + 1
        weights = []
        for i in range(count):
            product = 1.0
            for start in range(stride):
                for k in range(start, count, stride):
                    if k != i:
                        product *= 2 * (x[i] - x[k])
            weights.append(1 / product)

        numerator = sum(w * grid.wanted[p] for w, p in zip(weights, points))
        denominator = sum((-1) ** i * weights[i] / grid.weights[p] for i, p in enumerate(points))
        self.deviation = numerator / denominator
        y = [grid.wanted[p] - (-1) ** i * self.deviation / grid.weights[p] for i, p in enumerate(points)]
        self.at_points = dict(zip(points, y))
        # One point fewer fixes the polynomial.
        self.x = x[:-1]
        self.y = y[:-1]
        self.b = [weights[i] * (x[i] - x[-1]) for i in range(count - 1)]
        self.by = [b * v for b, v in zip(self.b, self.y)]

    def __call__(self, frequency):
        x = math.cos(2 * math.pi * frequency)
        above = below = 0.0
        for i, xi in enumerate(self.x):
            distance = x - xi
            if abs(distance) < 1e-14:
                return self.y[i]
            above += self.by[i] / distance
            below += self.b[i] / distance
        return above / below


def alternating_extrema(errors, ends, count):
    """Indices of `count` local extrema whose signs alternate."""
    found = []
    start = 0
    for end in ends:
        for g in range(start, end):
            size = abs(errors[g])
            sign = 1 if errors[g] > 0 else -1
            rises = g == start or size >= sign * errors[g - 1]
            falls = g == end - 1 or size > sign * errors[g + 1]
            if not (rises and falls):
                continue
            if found and (errors[found[-1]] > 0) == (errors[g] > 0):
                if size > abs(errors[found[-1]]):
                    found[-1] = g
            else:
                found.append(g)
        start = end
    while len(found) > count:
        if len(found) == count + 1:
            found.pop(0 if abs(errors[found[0]]) < abs(errors[found[-1]]) else -1)
            continue
        least = min(range(len(found)), key=lambda i: abs(errors[found[i]]))
        if least in (0, len(found) - 1):
            found.pop(least)
        else:  # with its lesser neighbour, so that the signs still alternate
            before = abs(errors[found[least - 1]]) < abs(errors[found[least + 1]])
            first = least - 1 if before else least
            del found[first : first + 2]
    if len(found) < count:
        raise RuntimeError("the exchange lost an extremal point")
    return found


def exchange(design, unknowns):
    grid = make_grid(design, unknowns)
    last = len(grid.frequencies) - 1
    points = [round(i * last / unknowns) for i in range(unknowns + 1)]
    for _ in range(MOST_EXCHANGES):
        response = Interpolant(grid, points)
        errors = []
        for g, f in enumerate(grid.frequencies):
            value = response.at_points[g] if g in response.at_points else response(f)
            errors.append(grid.weights[g] * (grid.wanted[g] - value))
        found = alternating_extrema(errors, grid.ends, unknowns + 1)
        heights = [abs(errors[g]) for g in found]
        if found == points or max(heights) - min(heights) < RIPPLE_TOLERANCE * max(heights):
            return response
        points = found
    raise RuntimeError("the exchange did not settle")


def coefficients(design):
    length = design.length
    response = exchange(design, (length + 1) // 2)
    # Samples of the response at multiples of 1/length fix the taps.
    samples = []
    for k in range((length - 1) // 2 + 1):
        f = k / length
        samples.append(response(f) * (math.cos(math.pi * f) if length % 2 == 0 else 1.0))
    centre = (length - 1) / 2
    half = []
    for n in range((length + 1) // 2):
        terms = (v * math.cos(2 * math.pi * k * (n - centre) / length) for k, v in enumerate(samples) if k > 0)
        half.append((samples[0] + 2 * sum(terms)) / length)
    return half + half[: length // 2][::-1]


def literal(value):
    single = struct.unpack("f", struct.pack("f", value))[0]
    return f"{single:.8e}F"


def table(design):
    lines = [f"// {design.length} taps for {design.purpose}."]
    lines.append(f"constexpr float B{design.name}[BL{design.name}] = {{")
    taps = [literal(c) for c in coefficients(design)]
    for i in range(0, len(taps), 6):
        lines.append("    " + ", ".join(taps[i : i + 6]) + ",")
    lines.append("};")
    return "\n".join(lines)


def source():
    parts = [
        "// Written by design_fir_tables.py; change the designs there.\n",
        '#include "effects/FIRTables.h"\n',
        "namespace morv {\n",
        "// clang-format off",
    ]
    parts.append("\n\n".join(table(design) for design in DESIGNS))
    parts.append("// clang-format on\n")
    parts.append("}  // namespace morv\n")
    return "\n".join(parts)


def main(arguments):
    if arguments not in ([], ["--check"]):
        sys.stderr.write("usage: design_fir_tables.py [--check]\n")
        return 2
    path = pathlib.Path(__file__).resolve().with_name("FIRTables.cpp")
    text = source()
    if not arguments:
        path.write_text(text, encoding="ascii")
    elif path.read_text(encoding="ascii") != text:
        sys.stderr.write(f"{path.name} is not what design_fir_tables.py writes\n")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
