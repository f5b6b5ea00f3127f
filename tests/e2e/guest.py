# SPDX-License-Identifier: MIT
"""A virtual machine with Debian's kernel and the host's own programs, for tests that need a kernel.

The kernel is the one that Debian's linux-image-amd64 depends on, unpacked under the build folder
and never installed. The guest sees the host's root folder read-only, keeps its changes in memory,
and shares one folder with the host for commands and results.
"""

import lzma
import platform
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import threading
from pathlib import Path

HERE = Path(__file__).resolve().parent
SHARE = "/root/.guest/share"  # the shared folder, as the guest sees it

# What the kernel needs to reach the host's folders. What these depend on is loaded before them, and
# what is built into the kernel is there.
BOOT_MODULES = ["virtio_pci", "9pnet_virtio", "9p", "overlay"]


class CannotRun(Exception):
    """This host cannot run the guest; the text says why."""


def check_host():
    if platform.machine() != "x86_64":
        raise CannotRun(f"the guest is x86-64, this host is {platform.machine()}")
    if HERE.is_relative_to("/tmp"):
        raise CannotRun(f"the guest has a /tmp of its own and does not see {HERE}")
    for program in ("qemu-system-x86_64", "busybox", "cpio", "dpkg", "depmod", "apt-get"):
        if not shutil.which(program, path="/usr/sbin:/usr/bin:/sbin:/bin"):
            raise CannotRun(f"{program} is missing; script/bootstrap test installs it")


def kernel(build):
    """The folder with Debian's kernel, fetched once: boot/vmlinuz-*, lib/modules/*."""
    folder = Path(build) / "guest-kernel"
    if (folder / "complete").exists():
        return folder
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    depends = subprocess.run(["apt-cache", "depends", "linux-image-amd64"], check=True,
                             capture_output=True, text=True).stdout
    found = re.search(r"Depends: (linux-image-\S+)", depends)
    if not found:
        raise CannotRun("apt does not know linux-image-amd64; apt-get update may help")
    fetched = subprocess.run(["apt-get", "download", found[1]], cwd=folder, capture_output=True,
                             text=True, check=False)
    packages = list(folder.glob("*.deb"))
    if fetched.returncode != 0 or len(packages) != 1:
        raise CannotRun(f"apt-get download {found[1]} failed: {fetched.stderr.strip()}")
    subprocess.run(["dpkg", "-x", packages[0], folder], check=True)
    packages[0].unlink()
    # Where the modules are depends on Debian's release; both places lead there.
    if not (folder / "lib").exists():
        (folder / "usr/lib").rename(folder / "lib")
    (folder / "usr").mkdir(exist_ok=True)
    if not (folder / "usr/lib").exists():
        (folder / "usr/lib").symlink_to("../lib")
    release = next((folder / "lib/modules").iterdir()).name
    subprocess.run(["/usr/sbin/depmod", "-b", folder, release], check=True)
    (folder / "complete").touch()
    return folder


def modules_to_boot(modules):
    """The files of BOOT_MODULES and of what they depend on, in the order of loading."""
    files = {}  # by module, itself last
    for line in (modules / "modules.dep").read_text().splitlines():
        file, needed = line.split(":")
        files[Path(file).name.split(".")[0]] = [*reversed(needed.split()), file]
    built_in = {Path(line).stem for line in (modules / "modules.builtin").read_text().splitlines()}
    order = []
    for name in BOOT_MODULES:
        if name not in built_in:
            order += [file for file in files[name] if file not in order]
    return [modules / file for file in order]


def initramfs(kernel_folder, target):
    """Writes what the kernel starts from: busybox, guest_init.sh, and modules."""
    with tempfile.TemporaryDirectory() as name:
        root = Path(name)
        for folder in ("bin", "proc", "sys", "dev", "modules", "host", "memory", "root"):
            (root / folder).mkdir()
        shutil.copy(shutil.which("busybox"), root / "bin")
        shutil.copy(HERE / "guest_init.sh", root / "init")
        order = modules_to_boot(next((kernel_folder / "lib/modules").iterdir()))
        for file in order:
            content = file.read_bytes()
            if file.suffix == ".xz":
                content = lzma.decompress(content)
            (root / "modules" / file.name.removesuffix(".xz")).write_bytes(content)
        (root / "modules/order").write_text(
            "".join(f"{file.name.removesuffix('.xz')}\n" for file in order))
        paths = "".join(f"{path.relative_to(root)}\n" for path in sorted(root.rglob("*")))
        with open(target, "wb") as archive:
            subprocess.run(["cpio", "--quiet", "--create", "--format=newc", "--owner=0:0"], cwd=root,
                           input=paths.encode(), stdout=archive, check=True)


# For tests, which have to pass on any host: the guest's clock goes by the instructions that were
# executed, a nanosecond each, and by the host's clock only while the guest waits. However busy
# the host is, no answer comes too late for that. All processors are then emulated by one thread, and
# the first would wait for what the second cannot do meanwhile: there is one. For "wire" and "names"
# that took 45 s of processor time instead of 65 s, and 39 s without what "max" adds to the
# processor: vectors of 256 bits and the like are dear to emulate. tsc=reliable had saved 10 s before:
# with tsc=unstable each look at the clock is a call of the emulator. With norandmaps a program is at
# the same addresses each time, and what was translated for its first start serves for all others:
# another start of keyloft has 2,500 pieces translated instead of 120,000.
COUNTED = ["-accel", "tcg,thread=single", "-icount", "shift=0", "-cpu", "qemu64", "-smp", "1"]
# For benchmarks, which want the host's clock.
FREE = ["-accel", "tcg,thread=multi", "-cpu", "max", "-smp", "2"]


def qemu_command(kernel_folder, ramdisk, share, serial_log, counted):
    image = next((kernel_folder / "boot").glob("vmlinuz-*"))
    command = [
        "qemu-system-x86_64", *(COUNTED if counted else FREE), "-m", "2048",
        "-nodefaults", "-no-user-config", "-display", "none", "-no-reboot",
        "-kernel", str(image), "-initrd", str(ramdisk),
        "-append", "console=ttyS0 quiet panic=-1 mitigations=off nokaslr "
                   f"{'tsc=reliable norandmaps' if counted else 'tsc=unstable'} "
                   "random.trust_cpu=on systemd.mask=1",
        "-serial", f"file:{serial_log}", "-serial", "stdio",
    ]
    for tag, folder, writable in (("host", "/", False), ("share", share, True),
                                  ("kernel", kernel_folder, False)):
        command += ["-virtfs", f"local,path={folder},mount_tag={tag},security_model=none,"
                               f"multidevs=remap,readonly={'off' if writable else 'on'}"]
    return command


def write_run_script(share, command, sequencer):
    modules = ["snd-seq snd-seq-midi snd-seq-dummy"] if sequencer else []
    modules.append("virtio_rng")
    (share / "exit-code").unlink(missing_ok=True)
    (share / "run.sh").write_text(f"""
export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8
exec </dev/null >/dev/ttyS1 2>&1
stty -F /dev/ttyS1 raw
busybox ip link set lo up
modprobe -a {' '.join(modules)}
cd {SHARE}
{shlex.join(command)}
echo $? >{SHARE}/exit-code.part && mv {SHARE}/exit-code.part {SHARE}/exit-code
busybox poweroff -f
""")


def run(build, command, *, share=None, sequencer=True, counted=False, timeout=600,
        output=sys.stdout.buffer):
    """Boots, runs the command as root in the guest, and gives its exit code.

    With `counted`, the guest's clock goes by its instructions. What the command prints goes to
    `output` as it comes. A guest that is not done within `timeout` seconds, or stops without an exit
    code, is an error that shows the end of its serial log.
    """
    check_host()
    build = Path(build).resolve()
    share = Path(share or build / "guest-share").resolve()
    share.mkdir(parents=True, exist_ok=True)
    kernel_folder = kernel(build)
    ramdisk = build / "guest-initramfs"
    initramfs(kernel_folder, ramdisk)
    serial_log = share / "serial.log"
    write_run_script(share, command, sequencer)
    machine = subprocess.Popen(qemu_command(kernel_folder, ramdisk, share, serial_log, counted),
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
    watchdog = threading.Timer(timeout, machine.kill)
    watchdog.start()
    try:
        for line in machine.stdout:
            output.write(line)
            output.flush()
        machine.wait()
    finally:
        watchdog.cancel()
        machine.kill()
        machine.wait()
    code = share / "exit-code"
    if not code.exists():
        log = serial_log.read_text(errors="replace").splitlines()[-60:]
        raise RuntimeError("the guest stopped or was stopped before the command was done; "
                           "the end of its serial log:\n" + "\n".join(log))
    return int(code.read_text())
