# SPDX-License-Identifier: MIT
"""What keyloft says on standard error when it cannot use the sequencer."""

NO_NODE = ('keyloft: there is no ALSA sequencer: /dev/snd/seq does not exist; load it with '
           '"sudo modprobe snd-seq"\n')
NO_DRIVER = ('keyloft: the ALSA sequencer has no driver: /dev/snd/seq exists, but nothing is '
             'behind it; load the driver with "sudo modprobe snd-seq"\n')
NO_PERMISSION = ('keyloft: no permission for the ALSA sequencer: /dev/snd/seq belongs to the '
                 'group "audio"; join it with "sudo usermod -aG audio $USER" and log in again\n')
NO_CLIENT = ('keyloft: the ALSA sequencer has no client left: too many MIDI programs are open; '
             'close one of them\n')
