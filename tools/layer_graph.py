# SPDX-License-Identifier: MIT
"""Draws rooms and what they use as SVG, one row a level; for check_layers.py."""

WIDTH, ROW, BOX_WIDTH, BOX_HEIGHT = 640, 84, 132, 36
LABELS = {"mstring": "text/MString.h"}
ASIDE = {"mstring": 300, "platform": 160}  # where fewer lines cross than in the middle


def places(levels):
    """room -> the middle of its box; rooms of one level share a row."""
    top = max(levels.values())
    rows = {}
    for room, level in levels.items():
        rows.setdefault(level, []).append(room)
    return {room: (ASIDE.get(room, WIDTH * (2 * column + 1) // (2 * len(rooms))),
                   30 + (top - level) * ROW)
            for level, rooms in rows.items() for column, room in enumerate(rooms)}


def reduced(edges):
    """The edges without those that follow from others."""
    def reaches(start, end, without):
        trail, seen = [start], set()
        while trail:
            room = trail.pop()
            for user, used in edges:
                if user == room and (user, used) != without and used not in seen:
                    if used == end:
                        return True
                    seen.add(used)
                    trail.append(used)
        return False
    return {edge for edge in edges if not reaches(*edge, edge)}


def path(start, end, seam):
    """From box to box: a seam bends aside, so that it shows beside what goes the other way."""
    (x1, y1), (x2, y2) = start, end
    if y1 == y2:
        side = BOX_WIDTH // 2 if x2 > x1 else -BOX_WIDTH // 2
        return f"M {x1 + side} {y1} L {x2 - side} {y2}"
    side = BOX_HEIGHT // 2 if y2 > y1 else -BOX_HEIGHT // 2
    y1, y2 = y1 + side, y2 - side
    if not seam:
        return f"M {x1} {y1} L {x2} {y2}"
    x1, x2 = x1 - 44, x2 - 44
    return f"M {x1} {y1} Q {(x1 + x2) // 2 - 40} {(y1 + y2) // 2} {x2} {y2}"


def draw(levels, edges, seams):
    """The picture: `edges` as lines, `seams`, which go upwards, as broken ones."""
    place = places(levels)
    height = 60 + max(levels.values()) * ROW
    lines = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}"'
        f' viewBox="0 0 {WIDTH} {height}" font-family="sans-serif" font-size="15">',
        '<defs><marker id="end" markerWidth="9" markerHeight="8" refX="8" refY="4" orient="auto">'
        '<path d="M 0 0 L 9 4 L 0 8 z" fill="#456"/></marker></defs>',
        f'<rect width="{WIDTH}" height="{height}" fill="#fff"/>',
    ]
    for kind, style in ((sorted(reduced(edges)), ""), (sorted(seams), ' stroke-dasharray="5 4"')):
        for user, used in kind:
            lines.append(f'<path d="{path(place[user], place[used], bool(style))}" fill="none"'
                         f' stroke="#456" marker-end="url(#end)"{style}/>')
    for room, (x, y) in place.items():
        lines.append(f'<rect x="{x - BOX_WIDTH // 2}" y="{y - BOX_HEIGHT // 2}" rx="5"'
                     f' width="{BOX_WIDTH}" height="{BOX_HEIGHT}" fill="#eef3f8" stroke="#456"/>')
        lines.append(f'<text x="{x}" y="{y + 5}" text-anchor="middle">'
                     f'{LABELS.get(room, room)}</text>')
    return "\n".join(lines + ["</svg>"]) + "\n"
