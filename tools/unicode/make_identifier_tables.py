#!/usr/bin/env python3
"""Writes src/text/IdentifierTables.cpp: the per-page bitmaps behind UnicodeUtils::isSymbolStart and
UnicodeUtils::isSymbolChar, taken from the Unicode Character Database that ships with python3.

The page structure is fixed by the library; only the bits inside the bitmapped pages come from the
database. An identifier starts with a letter (Lu Ll Lt Lm Lo), a letter number (Nl), "$" or "_" and
continues with those plus combining marks (Mn Mc), decimal digits (Nd), connector punctuation (Pc),
ZERO WIDTH NON-JOINER and ZERO WIDTH JOINER.

Usage: python3 tools/unicode/make_identifier_tables.py [output]  (default: src/text/IdentifierTables.cpp
beside this script's repository). The output depends only on the database version, so running it twice
gives the same file.
"""
import os
import sys
import unicodedata

START_CATEGORIES = {"Lu", "Ll", "Lt", "Lm", "Lo", "Nl"}
CONTINUE_CATEGORIES = START_CATEGORIES | {"Mn", "Mc", "Nd", "Pc"}
START_EXTRAS = {ord("$"), ord("_")}
CONTINUE_EXTRAS = START_EXTRAS | {0x200C, 0x200D}

# Pages accepted whole, and pages classified unit by unit; every other page is refused (apart from the
# two ideograph ranges, which UnicodeUtils accepts before it looks at pages).
WHOLE_PAGES = [1, 21, 160, 161, 162, 163, 249, 252]
BITMAP_PAGES = ([0] + list(range(2, 8)) + list(range(9, 21)) + list(range(22, 25)) + list(range(30, 34)) +
                [48, 49, 52, 164, 172, 215, 250, 251, 253, 254, 255])

# Page kinds as UnicodeUtils reads them: 0 refused, 1 accepted whole, 2 + n the n-th bitmap.
REFUSED, WHOLE, FIRST_BITMAP = 0, 1, 2


def is_start(c):
    return c in START_EXTRAS or unicodedata.category(chr(c)) in START_CATEGORIES


def is_continue(c):
    return c in CONTINUE_EXTRAS or unicodedata.category(chr(c)) in CONTINUE_CATEGORIES


def page_bitmap(page, accepts):
    bits = bytearray(32)
    for low in range(256):
        if accepts(page * 256 + low):
            bits[low >> 3] |= 1 << (low & 7)
    return bits


def format_bitmaps(name, accepts):
    lines = ["const unsigned char %s[%d][32] = {" % (name, len(BITMAP_PAGES))]
    for page in BITMAP_PAGES:
        bits = page_bitmap(page, accepts)
        lines.append("    // page %d (U+%04X)" % (page, page * 256))
        first, second = (" ".join("0x%02X," % b for b in half) for half in (bits[:16], bits[16:]))
        lines.append("    {" + first)
        lines.append("     " + second[:-1] + "},")
    lines.append("};")
    return lines


def format_page_kinds():
    kinds = [REFUSED] * 256
    for page in WHOLE_PAGES:
        kinds[page] = WHOLE
    for n, page in enumerate(BITMAP_PAGES):
        kinds[page] = FIRST_BITMAP + n
    lines = ["const unsigned char identifierPageKinds[256] = {"]
    for row in range(0, 256, 16):
        lines.append("    " + " ".join("%d," % k for k in kinds[row:row + 16]))
    lines.append("};")
    return lines


def warn_about_whole_pages():
    # A whole page that holds more than letters is a choice of the library, not of the database: say so.
    for page in WHOLE_PAGES:
        refused = sum(1 for low in range(256) if not is_start(page * 256 + low))
        if refused:
            sys.stderr.write("note: whole page %d holds %d units that are not identifier starts\n"
                             % (page, refused))


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    default = os.path.join(here, "..", "..", "src", "text", "IdentifierTables.cpp")
    output = sys.argv[1] if len(sys.argv) > 1 else default
    warn_about_whole_pages()
    text = [
        "// GENERATED FILE, do not edit: written by tools/unicode/make_identifier_tables.py from the Unicode",
        "// Character Database %s (python3 unicodedata). Rerun the script to change it." %
        unicodedata.unidata_version,
        "//",
        "// The identifier pages of UnicodeUtils::isSymbolStart and UnicodeUtils::isSymbolChar: the kind of",
        "// every 256-unit page (0 refused, 1 accepted whole, 2 + n read from bitmap n), and one bitmap of 32",
        "// bytes per classified page, bit (unit & 7) of byte ((unit & 255) >> 3) set for an accepted unit.",
        "// Starts: letters, letter numbers, \"$\" and \"_\". Continuations: starts, combining marks, decimal",
        "// digits, connector punctuation, ZERO WIDTH NON-JOINER and ZERO WIDTH JOINER.",
        '#include "text/UnicodeTables.h"',
        "",
        "namespace Quarn {",
        "namespace unicode {",
        "",
        "const char* const identifierUnicodeVersion = \"%s\";" % unicodedata.unidata_version,
        "",
        "// One row per 16 pages, two rows per bitmap.",
        "// clang-format off",
    ]
    text += format_page_kinds()
    text.append("")
    text += format_bitmaps("identifierStartBits", is_start)
    text.append("")
    text += format_bitmaps("identifierPartBits", is_continue)
    text += ["// clang-format on", "", "} // namespace unicode", "} // namespace Quarn", ""]
    with open(output, "w", newline="\n") as out:
        out.write("\n".join(text))


if __name__ == "__main__":
    main()
