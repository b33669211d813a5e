"""Whether the program takes libraries that somebody planted beside it, as in the folder that it was downloaded to."""
import shutil

PLANTED = ("setupapi.dll", "user32.dll", "version.dll")
DRIVER = r"HKLM\System\CurrentControlSet\Services\kvaux02"


def check_planted(wine, label, programs):
    """Prints one line and answers whether all is well. `programs` is the folder that the build put them in."""
    folder = wine.prefix / "download"
    folder.mkdir()
    for name in ("kvdel01.exe", "bare_names.exe"):
        shutil.copy(programs / name, folder)
    for name in PLANTED:
        shutil.copy(programs / "planted.dll", folder / name)

    def start(program, *arguments):
        """The exit code, and the planted libraries that the program took."""
        code = wine.run("wine", folder / program, *arguments).returncode
        marks = [*folder.glob("*.taken")]
        for mark in marks:
            mark.unlink()
        return code, sorted(mark.stem.lower() for mark in marks)

    # Of its own libraries Wine would take its own file even so; with this it searches as Windows does.
    wine.environment["WINEDLLOVERRIDES"] = "setupapi,user32,version=n,b"
    wine.run("wine", "reg", "add", DRIVER + r"\LifeTime\client", "/v", "File", "/d", r"C:\windows\win.ini")
    outcomes = {"by bare names": start("bare_names.exe"), "claimed": start("kvdel01.exe", "can-remove-now")}
    wine.run("wine", "reg", "delete", DRIVER, "/f")
    outcomes |= {"unclaimed": start("kvdel01.exe", "can-remove-now"), "message box": start("kvdel01.exe")}
    del wine.environment["WINEDLLOVERRIDES"]
    expected = {"by bare names": (0, list(PLANTED)), "claimed": (1, []), "unclaimed": (0, []), "message box": (1, [])}
    wrong = [f"{name}: {outcomes[name]} instead of {right}" for name, right in expected.items() if outcomes[name] != right]
    print(f"{label:12} {'planted libraries':22} {'; '.join(wrong) or 'none taken by the program, all by the other'}", flush=True)
    return not wrong
