# For `.`: attach_demo_devices BIN FOLDER makes FOLDER a machine with three devices, each with
# sample pictures of its own: a card, a camera, and a dock with another camera behind it. The folders
# `card`, `camera` and `docked` hold what is on them. The cameras end with the shell.
attach_demo_devices() {
    export ZLK_MACHINE="$2/machine"
    "$1/zlk-samplecard" "$2/card"
    "$1/zlk-samplecard" --seed 2 "$2/camera"
    "$1/zlk-samplecard" --seed 3 "$2/docked"
    "$1/zlkcam" register >/dev/null
    "$1/zlkcam" mount "$2/card" --letter E --label WEDDING
    cat >"$2/dock.reg" <<'END'
Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\Software\Zephyr-Lanthorn\PictureSuite\DemoDock\CamInfo]
"Cam_pnpID"="VID_5AF1&PID_7E00"
"Cam_protocol"="PTP"
"DevType"="PASSTHRU"
"PassThruProductClass"="Dock"
"FriendlyName"="ZL Dock"
END
    "$1/zlkcam" settings import "$2/dock.reg"
    "$1/zlkcamsim" --name camera --model 283 --storage "$2/camera" \
        --control "$2/camera.control" &
    camera=$!
    "$1/zlkcamsim" --name dock --model dock --storage "$2/docked" --control "$2/dock.control" &
    dock=$!
    trap 'kill $camera $dock 2>/dev/null' EXIT INT TERM
    until "$1/zlkcamsim" tell "$2/camera.control" state && \
        "$1/zlkcamsim" tell "$2/dock.control" behind 0x5AF1 0x7C35; do sleep 0.1; done \
        >/dev/null 2>&1
}
