"""Bar charts as SVG, readable on light and dark pages."""

import math
from xml.sax.saxutils import escape

WIDTH, LABELS, BAR, GAP = 640, 110, 22, 8


def bar_chart(title, bars, logarithmic=False):
    """One horizontal bar for each (name, value); lengths on a logarithmic scale where asked."""
    least = 0.8 * min(value for _, value in bars)

    def length(value):
        return math.log10(value / least) if logarithmic else value

    longest = max(length(value) for _, value in bars)
    room = WIDTH - LABELS - 70
    height = 40 + len(bars) * (BAR + GAP)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
             f'font-family="sans-serif" font-size="13">',
             f'<rect width="{WIDTH}" height="{height}" fill="#ffffff"/>',
             f'<text x="10" y="22" font-weight="bold">{escape(title)}'
             f'{" (logarithmic)" if logarithmic else ""}</text>']
    for i, (name, value) in enumerate(bars):
        y = 36 + i * (BAR + GAP)
        size = max(2, room * length(value) / longest)
        colour = "#999999" if name == "floor" else "#2f6f9f"
        parts.append(f'<text x="{LABELS - 6}" y="{y + 16}" text-anchor="end">{escape(name)}</text>')
        parts.append(f'<rect x="{LABELS}" y="{y}" width="{size:.0f}" height="{BAR}" '
                     f'fill="{colour}"/>')
        shown = f"{value:.2f}" if value < 10 else f"{value:.0f}"
        parts.append(f'<text x="{LABELS + size + 6:.0f}" y="{y + 16}">{shown}</text>')
    return "\n".join(parts + ["</svg>"]) + "\n"
