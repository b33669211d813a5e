"""The scenarios. Each gets a Lab with a fresh machine, and says what must become of it."""
import struct
import time

from .display import Display
from .machine import CLIENT_FILE, CURRENT, DRIVERS, SECOND_FILE, SERVICE, Lab, demand
from .wine import PATIENCE, await_that, read_line

ELSEWHERE = "\\\\server\\share\\client.exe"  # not on a local drive: claims for it are bound to time


def all_lapsed(lab: Lab) -> None:
    lab.install()
    lab.delete_file(CLIENT_FILE)
    lab.restart()
    lab.expect_installed()
    lab.expect_loaded(*list(DRIVERS)[:4])  # those that cannot be unloaded stay until the next restart
    lab.expect_clean_after_restart()


def device_nodes(lab: Lab) -> None:
    """Windows makes them when it loads such drivers. Wine, which then could not unload them, gets them afterwards."""
    lab.install()
    for driver in DRIVERS:
        demand(lab.wine.lab("make-device-node", driver), f"made ROOT\\LEGACY_{driver.upper()}\\0000", "make-device-node")
    lab.adopt()
    lab.expect_device_nodes(*DRIVERS)
    lab.delete_file(CLIENT_FILE)
    lab.run_service()
    lab.expect_device_nodes()
    lab.expect_clean_after_restart()


def claimed_by_file(lab: Lab) -> None:
    lab.install((CLIENT_FILE, SECOND_FILE))
    demand(lab.wine.lab("attach", "kvaux02", "second", SECOND_FILE), "attached", "attach")
    lab.adopt()
    lab.delete_file(CLIENT_FILE)
    lab.restart()
    lab.restart()
    lab.expect_installed("kvaux02", "kvdel01")
    lab.expect_loaded("kvaux02")
    lab.delete_file(SECOND_FILE)
    lab.restart()
    lab.expect_installed()
    lab.expect_clean_after_restart()


def lapses_between_starts(lab: Lab) -> None:
    """The claim's time is moved into the past, instead of waiting until it is the past."""
    def claim_ends_in(seconds: int) -> None:
        made = int((time.time() + seconds - 30 * 24 * 3600 + 11_644_473_600) * 10_000_000)  # 100 ns since 1601
        lab.wine.set_value(f"{CURRENT}\\Services\\kvvol02\\LifeTime\\remote", "Time", "BINARY", struct.pack("<Q", made).hex())
        lab.adopt()

    lab.install()
    demand(lab.wine.lab("attach", "kvvol02", "remote", ELSEWHERE), "attached", "attach")
    claim_ends_in(24 * 3600)
    lab.delete_file(CLIENT_FILE)
    lab.restart()
    lab.expect_installed("kvvol02", "kvdel01")
    claim_ends_in(-1)
    lab.restart()
    lab.expect_installed()
    lab.expect_clean_after_restart()


def can_remove_now(lab: Lab) -> None:
    def expect(expired: int, exit_code: int) -> None:
        demand(lab.wine.lab("expired"), f"expired {expired}", "asked as a child process")
        demand(lab.wine.run(SERVICE, "can-remove-now")[0], exit_code, "exit code")
        demand(lab.simulator.execute("kvdel01.exe can-remove-now")["exitCode"], exit_code, "simulated exit code")

    lab.install()
    expect(0, 1)
    lab.delete_file(CLIENT_FILE)
    expect(0, 1)  # a lapsed claim counts until a pass deletes it
    lab.run_service()
    expect(1, 0)
    lab.expect_clean_after_restart()


def message_box(lab: Lab) -> None:
    with Display(lab.folder) as display:
        lab.wine.environment["DISPLAY"] = display.name
        lab.install()
        for number, arguments in enumerate(((), ("svc",))):
            program = lab.wine.launch(SERVICE, *arguments)
            answer = lab.wine.spawn("message-box", first_line="caption KV Quellin Drivers Auto Removal (v1)")
            text = read_line(answer).removeprefix("text ")
            display.take_picture(lab.folder / f"message-box-{number}.xwd")
            demand(lab.wine.tell(answer, "close"), 0, "closing the message box")
            demand(program.wait(PATIENCE), 1, "exit code")
            simulated = lab.simulator.execute(" ".join(("kvdel01.exe", *arguments)))
            demand(simulated["exitCode"], 1, "simulated exit code")
            demand([(box["caption"], box["text"]) for box in simulated["messageBoxes"]],
                   [("KV Quellin Drivers Auto Removal (v1)", text)], "simulated message box")
        lab.restart()  # nothing has lapsed
        lab.expect_installed(*DRIVERS, "kvdel01")


def hold_lock(lab: Lab):
    """Installs, takes the lock and starts the service, which has to wait; the program that holds the lock."""
    lab.install()
    lab.delete_file(CLIENT_FILE)
    before = lab.wine_view()
    holder = lab.wine.spawn("lock", first_line="locked")
    demand(lab.wine.lab("start-service"), "started", "start-service")
    await_that(lambda: lab.wine.lab("service-state") == "state 4 exit code 0", "the service runs")
    until = time.monotonic() + 2
    while time.monotonic() < until:
        demand(lab.wine.lab("service-state"), "state 4 exit code 0", "the service that waits")
        demand(lab.wine_view(), before, "the machine while the service waits")
    return holder


def lock_held(lab: Lab, end: str = "leave", exit_code: int = 0) -> None:
    demand(lab.wine.tell(hold_lock(lab), end), exit_code, "exit code of the holder")
    lab.await_service()
    lab.simulator.description["heldLocks"] = [{"name": "Global\\{E06A1434-144A-4C05-B8EA-F3E3F4216C47}", "seconds": 7}]
    demand(lab.simulate()["seconds"] >= 7, True, "the simulated service waits")
    del lab.simulator.description["heldLocks"]
    lab.compare()
    lab.expect_installed()
    lab.expect_clean_after_restart()


def lock_holder_dies(lab: Lab) -> None:
    lock_held(lab, "die", 3)


def killed_while_waiting(lab: Lab) -> None:
    holder = hold_lock(lab)
    demand(lab.wine.lab("kill-service"), "killed", "kill-service")
    demand(lab.wine.tell(holder, "leave"), 0, "exit code of the holder")
    lab.expect_installed(*DRIVERS, "kvdel01")
    lab.restart()
    lab.expect_installed()
    lab.expect_clean_after_restart()


def killed_at_every_driver(lab: Lab) -> None:
    """In the order in which the pass comes to the drivers, each time between the first component of a driver and the next.
    Killed during its own removal the service may stay as a file, because nobody starts it again; so that is left out."""
    lab.install()
    lab.delete_file(CLIENT_FILE)
    left = list(DRIVERS)
    for driver in reversed(left.copy()):
        demand(lab.wine.lab("kill-service-at", driver), "started\nkilled", "kill-service-at")
        lab.adopt()  # the machine as the killed pass left it
        lab.simulate()
        lab.simulate()
        demand(lab.simulated_view(), set(), "left on the simulated machine")
        lab.expect_installed(*left, "kvdel01")
        demand(f"{CURRENT}\\services\\eventlog\\system\\{driver}" in lab.wine_view(), False, "the source")
        left.remove(driver)
    lab.adopt()
    lab.restart()
    lab.expect_installed()
    lab.expect_clean_after_restart()


def open_handle(lab: Lab) -> None:
    """Wine's driver manager unloads whatever is open; Windows would leave the stop pending."""
    lab.install()
    lab.delete_file(CLIENT_FILE)
    handle = lab.wine.spawn("open", "kvenv01", first_line="open kvenv01")
    lab.run_service()
    lab.expect_loaded(*list(DRIVERS)[:4])
    demand(lab.wine.tell(handle, ""), 0, "exit code of the program with the handle")
    lab.expect_clean_after_restart()


def refuses_to_unload(lab: Lab) -> None:
    lab.install(keeps_loaded=True)
    lab.delete_file(CLIENT_FILE)
    lab.run_service(stop="refuses")
    lab.expect_loaded(*DRIVERS)
    lab.expect_clean_after_restart()


def attach_through_device(lab: Lab) -> None:
    def expect(verb: str, driver: str, client: str, path: str, request: bytes) -> None:
        demand(lab.wine.lab("deny-writing", driver), "access 5\naccess 5", "deny-writing")
        demand(lab.wine.lab(verb, driver, client, path), verb + "ed", verb)
        demand(lab.requests_received(driver)[-1], bytes(4) + request, f"request of {verb} to {driver}")

    lab.install()
    before = lab.wine_view()
    unique, path = "\u00fcnique".encode("utf-16-le") + b"\0\0", CLIENT_FILE.encode("utf-16-le") + b"\0\0"
    expect("attach", "kvaux02", "\u00fcnique", CLIENT_FILE,
           struct.pack("<IB3xHHHH", 0, 0, 16, len(unique), 16, len(path)) + unique + path)
    expect("attach", "kvlnk03", "\u00fcnique", ELSEWHERE, struct.pack("<IB3xHHHH", 1, 0, 16, len(unique), 0, 0) + unique)
    expect("detach", "kvenv01a", "client", CLIENT_FILE, "client\0".encode("utf-16-le"))
    demand(lab.wine_view(), before, "the machine after the requests")
    lab.delete_file(CLIENT_FILE)
    lab.restart()
    lab.expect_clean_after_restart()


SCENARIOS = {function.__name__.replace("_", "-"): function for function in (
    all_lapsed, device_nodes, claimed_by_file, lapses_between_starts, can_remove_now, message_box, lock_held, lock_holder_dies,
    killed_while_waiting, killed_at_every_driver, open_handle, refuses_to_unload, attach_through_device)}
