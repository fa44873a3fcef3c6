#!/usr/bin/env python3
"""Writes src/records/names/lower_case_table.h: the simple lower case of every UTF-16 unit that has one of one unit.

Run from the repository's root: python3 scripts/make_lower_case_table.py
A run of capitals with the same distance to their small letters becomes one row; a step of 2 stands for the blocks in
which capitals and small letters alternate.
"""
import unicodedata


def pairs():
    for unit in range(0x10000):
        if 0xD800 <= unit <= 0xDFFF:
            continue
        lower = chr(unit).lower()
        if len(lower) == 1 and ord(lower) <= 0xFFFF and ord(lower) != unit:
            yield unit, ord(lower)


def rows():
    row = None
    for unit, lower in pairs():
        delta = lower - unit
        if row and row["delta"] == delta:
            step = unit - row["last"]
            if step == row["step"] or (row["step"] == 0 and step in (1, 2)):
                row["last"], row["step"] = unit, step
                continue
        if row:
            yield row
        row = {"first": unit, "last": unit, "delta": delta, "step": 0}
    yield row


def main():
    lines = [
        "// Made by scripts/make_lower_case_table.py from the Unicode character database "
        + unicodedata.unidata_version + ". Not edited by hand.",
        "#pragma once",
        "",
        "#include <cstdint>",
        "",
        "namespace tavi::records {",
        "",
        "// Every step-th unit from first to last has a lower case, delta away; rows are in ascending order.",
        "struct LowerCaseRow {",
        "    char16_t first;",
        "    char16_t last;",
        "    std::uint16_t step;",
        "    std::int32_t delta;",
        "};",
        "",
        "// clang-format off",
        "inline constexpr LowerCaseRow kLowerCaseRows[] = {",
    ]
    for row in rows():
        lines.append("    {0x%04X, 0x%04X, %d, %d}," % (row["first"], row["last"], row["step"] or 1, row["delta"]))
    lines += ["};", "// clang-format on", "", "}  // namespace tavi::records", ""]
    with open("src/records/names/lower_case_table.h", "w", encoding="ascii", newline="\n") as out:
        out.write("\n".join(lines))


if __name__ == "__main__":
    main()
