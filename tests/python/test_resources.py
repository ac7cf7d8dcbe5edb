"""What the binding holds while it works: no memory kept over 10,000 renders (the process's resident
memory measured), and the GIL let go while the core reads files, so that other threads run."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

import ondrel
import support


def resident_kib():
    for line in pathlib.Path("/proc/self/status").read_text().splitlines():
        if line.startswith("VmRSS:"):
            return int(line.split()[1])
    raise AssertionError("no VmRSS in /proc/self/status")


class NoLeak(unittest.TestCase):
    def test_ten_thousand_renders_keep_no_memory(self):
        image = ondrel.Study.open(support.SAMPLE)[0].series[0].images[0]
        with ondrel.Viewport(24, 24) as view:
            def renders(count):
                for index in range(count):
                    view.show(image)
                    view.window_level(400 + index % 50, 40)
                    view.picture()

            renders(500)  # the caches, the allocator's pools and the code pages settle first
            before = resident_kib()
            renders(10_000)
            grown = resident_kib() - before
        # A kept window buffer, LUT or image record per render would be hundreds of bytes at least:
        # 10,000 of them show well above this.
        self.assertLess(grown, 1024, f"the process grew by {grown} KiB over 10,000 renders")


# Run in a process of its own: were the GIL held while the core waits to open the pipe, the main
# thread would never run again to feed it. What the core then makes of the bytes does not matter here.
FEEDS_A_PIPE = """
import os, sys, threading, time, ondrel
pipe, data, reader = sys.argv[1], open(sys.argv[2], "rb").read(), sys.argv[3]
def read():
    try:
        ondrel.read(pipe) if reader == "read" else ondrel.Study.open(pipe)
    except ondrel.Error:
        pass
worker = threading.Thread(target=read)
worker.start()
feeds = 0
while worker.is_alive():
    try:
        feed = os.open(pipe, os.O_WRONLY | os.O_NONBLOCK)  # ENXIO until the core opens it to read
    except OSError:
        time.sleep(0.01)
        continue
    try:
        os.write(feed, data)  # what the pipe takes at once: the main thread must never wait here
    except (BlockingIOError, BrokenPipeError):
        pass
    os.close(feed)
    feeds += 1
print(feeds)
"""


class GilReleased(unittest.TestCase):
    def test_other_threads_run_while_the_core_reads(self):
        for reader in ("read", "Study.open"):
            with self.subTest(reader), tempfile.TemporaryDirectory() as folder:
                pipe = pathlib.Path(folder) / "pipe.dcm"
                os.mkfifo(pipe)
                try:
                    done = subprocess.run([sys.executable, "-c", FEEDS_A_PIPE, str(pipe), str(support.SAMPLE), reader],
                                          capture_output=True, text=True, timeout=30)
                except subprocess.TimeoutExpired:
                    self.fail(f"{reader} held the GIL while the core waited for its file")
                self.assertEqual(done.returncode, 0, done.stderr)
                self.assertGreater(int(done.stdout), 0)


if __name__ == "__main__":
    unittest.main()
