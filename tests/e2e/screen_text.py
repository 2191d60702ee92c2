"""Reads the text that a person sees off a screenshot, by matching the font's own glyphs at the text grid."""

import json
import subprocess

MOST_ERROR = 0.2    # of a glyph against the font's own: wide neighbours reach into its cell
BASELINE_LIFT = 3   # the baseline is this far above the end of the line
ROWS_ABOVE = 2      # rows at the top of a line that tails of the line above may reach into
ROWS_BELOW = 1      # rows at its bottom that the underline of an input reaches into


class Font:
    """The debugger's font as dump_atlas prints it."""

    def __init__(self, dump_atlas):
        facts = json.loads(subprocess.run([dump_atlas], stdout=subprocess.PIPE, check=True).stdout)
        self.line_height, self.advance = facts["line_height"], facts["advance"]
        self.characters = []    # (coverage, character)
        self.cells = {}     # pixels of a cell seen before -> its character
        for glyph in facts["glyphs"]:
            self.characters.append((self._coverage(glyph), chr(glyph["char"])))

    def _coverage(self, glyph):
        """How much of each pixel of a cell is inked, 0 to 255, row by row. The outer columns are left out: a
        caret, which is drawn smoothly, may reach into them."""
        top = self.line_height - BASELINE_LIFT - glyph["y"]
        inked = {(glyph["x"] + column, top + number): ink for number, row in enumerate(glyph["rows"])
                 for column, ink in enumerate(bytes.fromhex(row))}
        return tuple(inked.get((column, row), 0) for row in range(ROWS_ABOVE, self.line_height - ROWS_BELOW)
                     for column in range(1, self.advance - 1))

    def read(self, image, x, y, columns):
        """The text of up to `columns` cells whose line starts at (x, y) of a Screenshot; '\0' for what is no
        glyph."""
        columns = min(columns, (image.width - x) // self.advance)
        if y < 0 or y + self.line_height > image.height:
            return ""
        return "".join(self._character(self._cell(image, x + column * self.advance, y))
                       for column in range(columns)).rstrip()

    def ink_color(self, image, x, y):
        """The strongest colour of the glyph in the cell at (x, y)."""
        colors = self._colors(self._cell(image, x, y))
        ground = min(set(colors), key=sum)
        return max(colors, key=lambda color: self._difference(color, ground))

    def _cell(self, image, x, y):
        """The pixels of a cell that count, row by row."""
        return b"".join(image.rgb[3 * (row * image.width + x + 1):3 * (row * image.width + x + self.advance - 1)]
                        for row in range(y + ROWS_ABOVE, y + self.line_height - ROWS_BELOW))

    def _character(self, cell):
        known = self.cells.get(cell)
        if known is None:
            known = self.cells[cell] = self._match(cell)
        return known

    def _match(self, cell):
        colors = self._colors(cell)
        ground = min(set(colors), key=sum)      # the pages are dark
        ink = [self._difference(color, ground) for color in colors]
        strongest = max(ink)
        if strongest == 0:
            return " "
        # The ink's own colour is not known: a glyph need not cover any pixel whole.
        error, character = min((self._error(ink, coverage, strongest), character)
                               for coverage, character in self.characters if any(coverage))
        return character if error <= MOST_ERROR else "\0"

    @staticmethod
    def _error(ink, coverage, strongest):
        """Mean difference of two pictures, 0 to 1, where there is ink in either."""
        most = max(coverage)
        differences = [abs(a / strongest - b / most) for a, b in zip(ink, coverage) if a or b]
        return sum(differences) / len(differences)

    @staticmethod
    def _colors(cell):
        return [tuple(cell[at:at + 3]) for at in range(0, len(cell), 3)]

    @staticmethod
    def _difference(color, ground):
        return sum(abs(a - b) for a, b in zip(color, ground))
