"""Charts as SVG: bars of ratios, and lines over counts, both on logarithmic scales."""
import html
import math

WIDTH = 760
LABELS = 190
COLOURS = ["#1f5fa8", "#d9822b", "#5a8f4a", "#8a6fb0"]
TEXT = 'font-family="sans-serif" font-size="12"'


class Chart:
    def __init__(self, title, height):
        self.height = height
        self.parts = [
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" viewBox="0 0 {WIDTH} {height}">',
            f'<rect width="{WIDTH}" height="{height}" fill="white"/>',
            f'<text x="10" y="20" font-family="sans-serif" font-size="14" font-weight="bold">{html.escape(title)}</text>',
        ]

    def text(self, x, y, text, anchor="start"):
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" {TEXT}>{html.escape(text)}</text>')

    def line(self, x1, y1, x2, y2, colour="#cccccc", width=1):
        self.parts.append(
            f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}" stroke-width="{width}"/>'
        )

    def rectangle(self, x, y, width, height, colour):
        self.parts.append(f'<rect x="{x:.1f}" y="{y:.1f}" width="{width:.1f}" height="{height:.1f}" fill="{colour}"/>')

    def circle(self, x, y, colour):
        self.parts.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>')

    def legend(self, names):
        for number, name in enumerate(names):
            self.rectangle(LABELS + 130 * number, 30, 10, 10, COLOURS[number])
            self.text(LABELS + 130 * number + 15, 39, name)

    def finish(self):
        return "\n".join([*self.parts, "</svg>", ""])


def powers_of_ten(values):
    low = math.floor(math.log10(min(values)))
    return low, max(math.ceil(math.log10(max(values))), low + 1)


def short(value):
    for limit, name in ((1e9, "G"), (1e6, "M"), (1e3, "k")):
        if value >= limit:
            return f"{value / limit:.3g} {name}"
    return f"{value:.3g}"


def short_time(nanoseconds):
    for limit, name in ((1e9, "s"), (1e6, "ms"), (1e3, "µs")):
        if nanoseconds >= limit:
            return f"{nanoseconds / limit:.3g} {name}"
    return f"{nanoseconds:.3g} ns"


def bars(title, names, rows):
    """Rows are (label, values, limits), a value and a limit for each name; none for what there isn't."""
    bar, gap = 12, 10
    row_height = bar * len(names) + gap
    chart = Chart(title, 60 + row_height * len(rows) + 30)
    chart.legend([*names])
    low, high = powers_of_ten([v for _, values, limits in rows for v in [*values, *limits, 1] if v])
    right = WIDTH - 60
    place = lambda value: LABELS + (math.log10(value) - low) / (high - low) * (right - LABELS)
    bottom = 55 + row_height * len(rows)
    for power in range(low, high + 1):
        x = place(10**power)
        chart.line(x, 50, x, bottom, "#888888" if power == 0 else "#dddddd")
        chart.text(x, bottom + 15, f"{10.0**power:g}", "middle")
    for number, (label, values, limits) in enumerate(rows):
        top = 55 + number * row_height
        chart.text(LABELS - 8, top + row_height / 2, label, "end")
        for index, (value, limit) in enumerate(zip(values, limits)):
            y = top + index * bar
            if value:
                start, end = sorted((place(1), place(value)))
                chart.rectangle(start, y, max(end - start, 1), bar - 2, COLOURS[index])
                chart.text(WIDTH - 10, y + bar - 3, f"{value:.3g}", "end")
            if limit:
                chart.line(place(limit), y - 1, place(limit), y + bar - 1, "#000000", 2)
    return chart.finish()


def lines(title, axis, series, value_text=short_time):
    """Series are (name, [(count, value)])."""
    height, top, bottom, right = 340, 60, 300, WIDTH - 30
    left = 80
    chart = Chart(title, height)
    chart.legend([name for name, _ in series])
    x_low, x_high = powers_of_ten([count for _, points in series for count, _ in points])
    y_low, y_high = powers_of_ten([value for _, points in series for _, value in points])
    x_place = lambda count: left + (math.log10(count) - x_low) / (x_high - x_low) * (right - left)
    y_place = lambda value: bottom - (math.log10(value) - y_low) / (y_high - y_low) * (bottom - top)
    for power in range(y_low, y_high + 1):
        chart.line(left, y_place(10**power), right, y_place(10**power))
        chart.text(left - 6, y_place(10**power) + 4, value_text(10.0**power), "end")
    for count in sorted({count for _, points in series for count, _ in points}):
        chart.line(x_place(count), top, x_place(count), bottom, "#eeeeee")
        chart.text(x_place(count), bottom + 16, f"{count:,}", "middle")
    chart.text((left + right) / 2, bottom + 32, axis, "middle")
    for number, (_, points) in enumerate(series):
        colour = COLOURS[number]
        for (count, value), (next_count, next_value) in zip(points, points[1:]):
            chart.line(x_place(count), y_place(value), x_place(next_count), y_place(next_value), colour, 2)
        for count, value in points:
            chart.circle(x_place(count), y_place(value), colour)
    return chart.finish()
