// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Rows with columns, and texts between them. */

#include "style.hpp"

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace healthintf::healthctl
{

/** One field of a row. */
struct Cell
{
    /** @param[in] lead precedes the text, as the lines of a tree do; only the
     *             edge of the terminal shortens it */
    Cell(std::string text, Tone tone = Tone::plain, std::string lead = {}) :
        text(std::move(text)), tone(tone), lead(std::move(lead))
    {}

    std::string text;
    Tone tone;
    std::string lead;
};

/** A column that is shortened when the terminal is too narrow. */
struct ShrinkingColumn
{
    std::size_t column;
    /** Its least width, in columns of the terminal. */
    std::size_t least;
};

/** Writes rows whose columns stand below each other. On a terminal lines are
 *  made to fit; elsewhere everything stands in full. */
class Table
{
  public:
    /** @param[in] shrinking the columns to shorten, the first one first */
    explicit Table(std::vector<ShrinkingColumn> shrinking);

    void addRow(std::vector<Cell> cells);

    /** Adds a text below the last row, which goes over as many lines as it
     *  needs.
     *
     *  @param[in] first what its first line begins with
     *  @param[in] rest what its other lines begin with, of the same width
     *  @param[in] leadTone of both */
    void addText(const std::string& first, const std::string& rest,
                 const std::string& text, Tone tone,
                 Tone leadTone = Tone::faint);

    /** Adds a line below the last row that does not follow the columns; on a
     *  terminal it is shortened. */
    void addLine(const std::string& lead, const std::string& text, Tone tone);

    void print(std::ostream& out, const Style& style,
               std::optional<std::size_t> width) const;

  private:
    using Row = std::vector<Cell>;

    struct Text
    {
        std::string first;
        std::string rest;
        std::string text;
        Tone tone;
        Tone leadTone;
        bool wraps;
    };

    using Widths = std::vector<std::size_t>;

    Widths widths(std::optional<std::size_t> width) const;
    static void printRow(std::ostream& out, const Style& style, const Row& row,
                         const Widths& widths,
                         std::optional<std::size_t> width);
    static void printText(std::ostream& out, const Style& style,
                          const Text& text, std::optional<std::size_t> width);

    std::vector<ShrinkingColumn> shrinking;
    std::vector<std::variant<Row, Text>> lines;
};

} // namespace healthintf::healthctl
