"""The demo's HTML page in a real browser: headless Chromium renders it to a screenshot, which must show the page
(ink on the background, the header shading of its style) with every table inside the window's width and the page
within its height. Usage: check_page.py KVTABLES REQUEST [KEEP.png]; exits 77 (skipped) without Chromium."""
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from PIL import Image, ImageChops

WIDTH, HEIGHT, MARGIN = 1920, 5000, 16  # a desktop screen's width
HEADER = (238, 238, 255)  # thead th{background:#eef}

tool, request = sys.argv[1], sys.argv[2]
browser = shutil.which("chromium")
if browser is None:
    print("skipped: chromium is not installed (scripts/install-deps.sh installs it)")
    sys.exit(77)
with tempfile.TemporaryDirectory() as tmp:
    page, shot = Path(tmp) / "demo.html", Path(tmp) / "demo.png"
    subprocess.run([tool, request, "--format", "html", "--output", page], check=True)
    subprocess.run([browser, "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                    f"--user-data-dir={tmp}/profile", f"--window-size={WIDTH},{HEIGHT}", f"--screenshot={shot}",
                    page.as_uri()], check=True, capture_output=True, timeout=120)
    image = Image.open(shot).convert("RGB")
    if len(sys.argv) > 3:
        image.save(sys.argv[3])
background = image.getpixel((0, 0))
ink = ImageChops.difference(image, Image.new("RGB", image.size, background)).getbbox()
assert image.size == (WIDTH, HEIGHT), image.size
assert ink is not None, "the page is blank"
colours = {c for _, c in image.getcolors(WIDTH * HEIGHT)}
assert HEADER in colours, "no shaded header: the page's style was not applied"
# Ink at the window's edge is a table cut off (the scroll bars are hidden) or a page longer than the window.
assert ink[2] <= WIDTH - MARGIN, f"a table is wider than {WIDTH} pixels: ink up to x={ink[2]}"
assert ink[3] <= HEIGHT - MARGIN, f"the page is longer than {HEIGHT} pixels: ink down to y={ink[3]}"
print(f"page inked over {ink} of {WIDTH}x{HEIGHT}")
