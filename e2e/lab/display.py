"""A display that nobody looks at, for what a program shows."""
import pathlib
import shutil
import subprocess

from .wine import PATIENCE, await_that


class Display:
    def __init__(self, folder: pathlib.Path) -> None:
        self.screen = folder / "Xvfb_screen0"

    def __enter__(self) -> "Display":
        # The server chooses its number and tells it; it keeps its screen in a file in the format of xwd.
        self.server = subprocess.Popen(["Xvfb", "-displayfd", "1", "-screen", "0", "800x600x24", "-nolisten", "tcp",
                                        "-fbdir", str(self.screen.parent)],
                                       stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.name = ":" + self.server.stdout.readline().strip()
        return self

    def __exit__(self, *_) -> None:
        self.server.terminate()
        self.server.wait(PATIENCE)

    def take_picture(self, target: pathlib.Path) -> None:
        """Keeps the screen, once something with many colours is on it, as text and icons are."""
        await_that(lambda: len(set(self.screen.read_bytes()[-4 * 800 * 600:])) > 40, "a picture")
        shutil.copyfile(self.screen, target)
