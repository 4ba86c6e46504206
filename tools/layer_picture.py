"""Draws layers and their declared dependencies as an SVG picture: a row for each height, lines down to what a layer uses."""
import html

BOX_WIDTH, BOX_HEIGHT, GAP, ROW = 150, 30, 16, 74
STYLE = ("rect{fill:#eef3fb;stroke:#3b5b8c}text{font:13px sans-serif;text-anchor:middle;fill:#1b2a41}"
         "path{fill:none;stroke:#8a99b3}")


def rows_of(uses):
    """Layers by height, bottom row first. A layer lies one row above the highest one that it uses."""
    height = {}
    for layer, below in uses.items():   # bottom to top, so what a layer uses has its height already
        height[layer] = 1 + max((height[each] for each in below), default=-1)
    rows = [[] for _ in range(1 + max(height.values()))]
    for layer in uses:
        rows[height[layer]].append(layer)
    return rows


def places_of(rows, uses):
    """layer -> (x, y) of the middle of its box. Boxes lie above what they use as far as the order of a row allows."""
    width = max(len(row) for row in rows) * (BOX_WIDTH + GAP) + GAP
    places = {}
    for number, row in enumerate(rows):
        wish = {each: sum(places[low][0] for low in uses[each]) / len(uses[each]) if uses[each] else width / 2 for each in row}
        left = (width - len(row) * (BOX_WIDTH + GAP) + GAP + BOX_WIDTH) / 2
        for index, each in enumerate(sorted(row, key=lambda layer: wish[layer])):
            places[each] = (left + index * (BOX_WIDTH + GAP), (len(rows) - number - 0.5) * ROW)
    return places, width, len(rows) * ROW


def draw(uses):
    """uses: layer -> the layers that it declares to use, bottom to top. The text of the picture."""
    places, width, height = places_of(rows_of(uses), uses)
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" viewBox="0 0 {width} {height}">',
             f"<title>The layers of the library; lines lead down to what a layer uses</title><style>{STYLE}</style>"]
    for layer, below in uses.items():
        x, y = places[layer]
        for each in below:
            to_x, to_y = places[each]
            top, bottom = y + BOX_HEIGHT / 2, to_y - BOX_HEIGHT / 2
            bend = min(ROW, (bottom - top) / 2)
            lines.append(f'<path d="M{x:g} {top:g}C{x:g} {top + bend:g} {to_x:g} {bottom - bend:g} {to_x:g} {bottom:g}"/>')
    for layer, (x, y) in places.items():
        lines.append(f'<rect x="{x - BOX_WIDTH / 2:g}" y="{y - BOX_HEIGHT / 2:g}" width="{BOX_WIDTH}" height="{BOX_HEIGHT}" rx="4"/>'
                     f'<text x="{x:g}" y="{y + 5:g}">{html.escape(layer)}</text>')
    return "\n".join(lines + ["</svg>", ""])
