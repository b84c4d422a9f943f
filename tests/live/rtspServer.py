"""Serves a transport stream, live and over and over, as rtsp://127.0.0.1:PORT/live. Usage: rtspServer.py PORT FILE"""
import sys

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstRtspServer", "1.0")
from gi.repository import GLib, Gst, GstRtspServer  # noqa: E402

Gst.init(None)
server = GstRtspServer.RTSPServer()
server.set_service(sys.argv[1])
factory = GstRtspServer.RTSPMediaFactory()
factory.set_launch(
    f"( filesrc location={sys.argv[2]} ! tsdemux name=d d. ! queue ! h264parse ! rtph264pay name=pay0 pt=96 "
    "d. ! queue ! aacparse ! rtpmp4gpay name=pay1 pt=97 )"
)
factory.set_shared(True)
server.get_mount_points().add_factory("/live", factory)
server.attach(None)
GLib.MainLoop().run()
