"""Draws the pictures of the guide: draw.py FOLDER writes its SVG files there. The figures are the engine's defaults."""
import math
import pathlib
import sys

INK, FAINT, PAPER = "#1c2230", "#6b7488", "#ffffff"
QUEUED, MIXED, SILENT, HEARD, NEW, LATE = "#2da899", "#e2a33c", "#e6e9ef", "#b9c0cf", "#4f83e8", "#dd5a5a"


class Picture:
    def __init__(self, width, height):
        self.head = (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
                     f'height="{height}" font-family="sans-serif" font-size="13">')
        self.parts = [f'<rect width="{width}" height="{height}" rx="8" fill="{PAPER}"/>']

    def text(self, x, y, words, anchor="start", colour=INK, size=13, weight="normal"):
        self.parts.append(f'<text x="{x:g}" y="{y:g}" text-anchor="{anchor}" fill="{colour}" font-size="{size}" '
                          f'font-weight="{weight}">{words}</text>')

    def box(self, x, y, width, height, fill, words="", colour="#ffffff", edge="none", hint=""):
        self.parts.append(f'<rect x="{x:g}" y="{y:g}" width="{width:g}" height="{height:g}" fill="{fill}" '
                          f'stroke="{edge}"{hint}/>')
        if words:
            self.text(x + width / 2, y + height / 2 + 4.5, words, "middle", colour)

    def line(self, x1, y1, x2, y2, colour=INK, width=1.5, hint=""):
        self.parts.append(f'<line x1="{x1:g}" y1="{y1:g}" x2="{x2:g}" y2="{y2:g}" stroke="{colour}" '
                          f'stroke-width="{width:g}"{hint}/>')

    def arrow(self, x1, y1, x2, y2, colour=INK):
        self.line(x1, y1, x2, y2, colour)
        angle = math.atan2(y2 - y1, x2 - x1)
        points = [(x2, y2)] + [(x2 - 9 * math.cos(angle + turn), y2 - 9 * math.sin(angle + turn)) for turn in (.4, -.4)]
        self.parts.append(f'<polygon points="{" ".join(f"{x:.1f},{y:.1f}" for x, y in points)}" fill="{colour}"/>')

    def span(self, x1, x2, y, words, colour=INK):
        """A measure with an arrow at either end and its name above."""
        middle = (x1 + x2) / 2
        self.arrow(middle, y, x1, y, colour)
        self.arrow(middle, y, x2, y, colour)
        self.text(middle, y - 6, words, "middle", colour)

    def arc(self, centre, radius, thickness, from_turn, to_turn, fill):
        """Clockwise; turn 0 is the top, 1 all the way round."""
        def corner(turn, distance):
            angle = 2 * math.pi * turn
            return f"{centre[0] + distance * math.sin(angle):.1f} {centre[1] - distance * math.cos(angle):.1f}"
        large = int(to_turn - from_turn > 0.5)
        inner, outer = radius, radius + thickness
        self.parts.append(f'<path d="M{corner(from_turn, outer)} A{outer} {outer} 0 {large} 1 {corner(to_turn, outer)} '
                          f'L{corner(to_turn, inner)} A{inner} {inner} 0 {large} 0 {corner(from_turn, inner)} Z" '
                          f'fill="{fill}"/>')

    def mark(self, centre, radius, turn, words, colour=INK):
        angle = 2 * math.pi * turn
        x, y = math.sin(angle), -math.cos(angle)
        self.line(centre[0] + x * (radius - 52), centre[1] + y * (radius - 52), centre[0] + x * (radius + 10),
                  centre[1] + y * (radius + 10), colour, 3)
        anchor = "middle" if abs(x) < 0.2 else "start" if x > 0 else "end"
        for row, words_of_row in enumerate(words.split("|")):
            self.text(centre[0] + x * (radius + 18), centre[1] + y * (radius + 18) + 4 + 16 * row, words_of_row, anchor,
                      colour, weight="bold" if row == 0 else "normal")

    def __str__(self):
        return "\n".join([self.head, *self.parts, "</svg>"]) + "\n"


def ring():
    """The whole ring, as it stands at the default frame rate while the host is in time."""
    picture = Picture(760, 400)
    centre, outer = (330, 205), 150
    queued, horizon, clear = 0.23, 0.46, 0.92
    for begin, end, fill in ((0, queued, QUEUED), (queued, horizon, MIXED), (horizon, clear, SILENT), (clear, 1, HEARD)):
        picture.arc(centre, outer - 44, 44, begin, end, fill)
    picture.mark(centre, outer, 0, "play cursor: heard now")
    picture.mark(centre, outer, queued, "next to be sent|a thread of the engine|fills the device to here", QUEUED)
    picture.mark(centre, outer, horizon, "horizon|a tick mixes voices to here", "#b57a16")
    picture.mark(centre, outer, clear, "cleared to here", FAINT)
    picture.text(centre[0], 200, "0.6 seconds", "middle", size=20, weight="bold")
    picture.text(centre[0], 222, "clockwise: later", "middle", FAINT)
    for row, (fill, words) in enumerate(((QUEUED, "in the device"), (MIXED, "mixed, not sent"), (SILENT, "silent"),
                                         (HEARD, "heard"))):
        picture.box(30, 310 + 20 * row, 13, 13, fill, edge=FAINT)
        picture.text(52, 321 + 20 * row, words)
    return picture


def lead():
    """How late the host and the engine's thread may be."""
    picture = Picture(760, 190)
    x0, base, sent, mixed, end = 60, 300, 320, 560, 730
    picture.box(x0 - 40, 70, 40, 44, HEARD)
    picture.box(x0, 70, sent - x0, 44, QUEUED, "in the device")
    picture.box(sent, 70, mixed - sent, 44, MIXED, "mixed")
    picture.box(mixed, 70, end - mixed, 44, SILENT, "silent", FAINT)
    picture.line(x0, 58, x0, 126, INK, 3)
    picture.text(x0, 50, "heard now", "middle", weight="bold")
    picture.span(x0, sent, 142, "", QUEUED)
    picture.text((x0 + sent) / 2 - 8, 160, "lead: the engine's thread may be this late", "middle", QUEUED)
    picture.line(base, 62, base, 114, INK, 1, ' stroke-dasharray="4 3"')
    picture.text(base, 50, "end of the lead at the latest tick", "middle")
    picture.span(base, mixed, 142, "", "#b57a16")
    picture.text((base + mixed) / 2 + 44, 160, "horizon: the next tick may be this late", "middle", "#b57a16")
    return picture


def past():
    """Where a new voice begins, in a mixer that appends and here."""
    picture = Picture(760, 250)
    x0, sent, end = 130, 560, 730

    def row(y, name, start, said):
        picture.text(20, y + 26, name, weight="bold")
        picture.box(x0, y, sent - x0, 40, QUEUED, "", edge="none")
        picture.box(sent, y, end - sent, 40, SILENT)
        picture.box(start, y + 14, end - start, 22, NEW, "new voice")
        picture.line(x0, y - 8, x0, y + 48, INK, 3)
        picture.span(x0, start, y + 62, "", LATE if start > 300 else NEW)
        picture.text(max(start + 12, 160), y + 66, said, colour=LATE if start > 300 else NEW)

    picture.text(x0, 26, "Play(), and heard now", "middle")
    picture.text((x0 + sent) / 2, 26, "138 ms are queued in the device", "middle", QUEUED)
    row(46, "appended", sent, "heard after 138 ms")
    row(150, "ringmix", x0 + 18, "heard after 5 ms: what is queued is mixed once more, with the voice, and rewritten")
    return picture


def pages():
    """What is in memory of a sound that streams."""
    picture = Picture(760, 190)
    width, first = 44, 30
    for page in range(16):
        fill, colour = (HEARD, FAINT) if page < 5 else (QUEUED, "#ffffff") if page < 11 else (PAPER, FAINT)
        picture.box(first + page * width, 70, width - 3, 44, fill if page < 11 else PAPER, str(page), colour, FAINT)
    at = first + 5.4 * width
    picture.line(at, 56, at, 126, INK, 3)
    picture.text(at, 48, "voice", "middle", weight="bold")
    picture.span(at, first + 11 * width - 3, 142, "", QUEUED)
    picture.text((at + first + 11 * width) / 2, 162, "look-ahead: in memory, or asked for", "middle", QUEUED)
    picture.text(first + 2.5 * width, 48, "given back", "middle", FAINT)
    picture.text(first + 13.5 * width, 48, "still in the file", "middle", FAINT)
    picture.text(first, 24, "A stream of 16 pages", weight="bold")
    return picture


if __name__ == "__main__":
    for drawing in (ring, lead, past, pages):
        (pathlib.Path(sys.argv[1]) / f"{drawing.__name__}.svg").write_text(str(drawing()))
