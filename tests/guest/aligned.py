"""Tables of text."""


def print_lines(lines):
    """Lines of cells, column below column."""
    widths = [max(len(cell) for cell in column) for column in zip(*lines)]
    for line in lines:
        print("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())
