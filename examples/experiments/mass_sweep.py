#!/usr/bin/env python3
"""What a heavier car consumes: mass_sweep.py KRSIM PLUGINS RESULTS

Runs the drive cycle with masses from 1 t to 2 t, writes RESULTS/mass.csv, and draws RESULTS/mass.svg: consumption against
mass. A second call runs only what is missing.
"""
import csv
import pathlib
import subprocess
import sys

KRSIM, PLUGINS, RESULTS = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
SETUP = pathlib.Path(__file__).resolve().parent.parent / "drive_cycle" / "setup.xml"
JOULES_PER_KWH = 3.6e6
WIDTH, HEIGHT, MARGIN = 640, 400, 60


def sweep(table):
    subprocess.run([KRSIM, "sweep", SETUP, "--plugins", PLUGINS, "--seconds", "1180", "--vary", "Vehicle.Mass=1 t:2 t:100 kg",
                    "--of", "Electric Drive.Battery Energy", "--of", "Vehicle.Distance", "--table", table, "--force"],
                   check=True)


def read(table):
    """Masses in t and consumption in kWh for 100 km."""
    with open(table, newline="", encoding="utf-8") as stream:
        rows = list(csv.DictReader(stream))
    energy = next(name for name in rows[0] if "Battery Energy final" in name)
    distance = next(name for name in rows[0] if "Distance final" in name)
    return [(float(row["Vehicle.Mass"].split()[0]), float(row[energy]) / JOULES_PER_KWH / float(row[distance]) * 1e5)
            for row in rows]


def draw(points, picture):
    (first, last), values = (points[0][0], points[-1][0]), [value for _, value in points]
    low, high = min(values), max(values)

    def place(mass, value):
        return (MARGIN + (mass - first) / (last - first) * (WIDTH - 2 * MARGIN),
                HEIGHT - MARGIN - (value - low) / (high - low) * (HEIGHT - 2 * MARGIN))

    line = " ".join(f"{x:.1f},{y:.1f}" for x, y in (place(*point) for point in points))
    texts = [(WIDTH / 2, HEIGHT - 15, "mass of the car in t"), (WIDTH / 2, 25, "consumption in kWh for 100 km")]
    texts += [(place(mass, low)[0], HEIGHT - MARGIN + 20, f"{mass:g}") for mass in (first, (first + last) / 2, last)]
    texts += [(MARGIN - 30, place(first, value)[1], f"{value:.2f}") for value in (low, high)]
    labels = "".join(f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="middle">{text}</text>' for x, y, text in texts)
    picture.write_text(
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="14">'
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>{labels}'
        f'<polyline points="{line}" fill="none" stroke="steelblue" stroke-width="2"/></svg>\n', encoding="utf-8")


def main():
    RESULTS.mkdir(parents=True, exist_ok=True)
    table = RESULTS / "mass.csv"
    sweep(table)
    points = read(table)
    for mass, consumption in points:
        print(f"{mass:.1f} t: {consumption:.2f} kWh for 100 km")
    draw(points, RESULTS / "mass.svg")


main()
