#!/bin/busybox sh
# SPDX-License-Identifier: MIT
# The guest's first program: makes the host's root folder the guest's own, with all changes kept in
# memory, and hands over to run.sh in the folder that guest and host share.
export PATH=/bin
/bin/busybox --install -s /bin
mount -t proc proc /proc
mount -t sysfs sysfs /sys
mount -t devtmpfs dev /dev
while read -r module; do
    insmod "/modules/$module" || echo "guest: module $module does not load"
done </modules/order
options=trans=virtio,version=9p2000.L,msize=512000
mount -t 9p -o "$options,ro,cache=loose" host /host || echo "guest: no root folder"
mount -t tmpfs -o mode=755 tmpfs /memory
mkdir /memory/changes /memory/work
mount -t overlay -o lowerdir=/host,upperdir=/memory/changes,workdir=/memory/work overlay /root ||
    echo "guest: no overlay"
cd /root || echo "guest: no root"
mkdir -p root/.guest/share root/.guest/kernel usr/lib/modules
mount -t 9p -o "$options" share root/.guest/share || echo "guest: no shared folder"
mount -t 9p -o "$options,ro,cache=loose" kernel root/.guest/kernel || echo "guest: no modules"
mount -o bind root/.guest/kernel/lib/modules usr/lib/modules || echo "guest: modules are not bound"
for folder in proc sys dev; do
    mount -o move "/$folder" "$folder"
done
mkdir -p dev/pts dev/shm
mount -t devpts devpts dev/pts
mount -t tmpfs -o mode=1777 tmpfs dev/shm
mount -t tmpfs -o mode=1777 tmpfs tmp
mount -t tmpfs -o mode=755 tmpfs run
exec switch_root /root /bin/sh /root/.guest/share/run.sh
