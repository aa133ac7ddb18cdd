"""A web server that answers as a unit does while firmware is pushed to it, well or badly."""
import ssl
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

PAGES = {"/cgi-bin/hw_config?firmware_hash": "firmware_hash", "/cgi-bin/hw_config?firmware_id": "firmware_id",
         "/cgi-bin/hw_config?fw_compat": "fw_compat", "/cgi-bin/fw_upload": "fw_upload", "/fw_status.xml": "fw_status.xml"}


def status(state, progress=0, detail=""):
    return f"<status><state>{state}</state><progress>{progress}</progress><detail>{detail}</detail></status>"


class Unit(ThreadingHTTPServer):
    """Answers by path, the last of a path's answers again and again: (code, text), or what is to be called."""
    daemon_threads = True
    request_queue_size = 1000

    def __init__(self, certificate=None, **answers):
        super().__init__(("127.0.0.1", 0), Handler)
        if certificate:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(certificate)
            self.socket = context.wrap_socket(self.socket, server_side=True)
        self.answers = {"firmware_hash": ["00"], "firmware_id": ["unit"], "fw_compat": ["4"], "fw_upload": ["Started"],
                        "fw_status.xml": [status("fw_write", 50), status("complete", 100)], **answers}
        self.received = None
        self.user = None
        self.paths = []
        self.connections = 0
        threading.Thread(target=self.serve_forever, daemon=True).start()
        self.name = f"127.0.0.1:{self.server_port}"

    def handle_error(self, *_):
        pass

    def get_request(self):
        self.connections += 1
        return super().get_request()


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        self.answer()

    def do_POST(self):
        answers = self.server.answers["fw_upload"]
        if not callable(answers[0]):
            self.server.received = self.rfile.read(int(self.headers["Content-Length"]))
            self.server.head = dict(self.headers)
        self.answer()

    def answer(self):
        if self.server.user and self.headers["Authorization"] != self.server.user:
            self.send_response(401)
            self.send_header("WWW-Authenticate", 'Basic realm="unit"')
            self.send_header("Content-Length", "0")
            self.end_headers()
            return
        name = PAGES[self.path]
        self.server.paths.append(name)
        answers = self.server.answers[name]
        answer = answers.pop(0) if len(answers) > 1 else answers[0]
        if callable(answer):
            self.close_connection = True
            answer(self)
            return
        code, text = answer if isinstance(answer, tuple) else (200, answer)
        text = text.encode() if isinstance(text, str) else text
        self.send_response(code)
        self.send_header("Content-Length", str(len(text)))
        self.end_headers()
        self.wfile.write(text)

    def log_message(self, *_):
        pass


def silent(handler):
    time.sleep(30)


def drip(handler):
    handler.wfile.write(b"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n")
    for _ in range(100):
        handler.wfile.write(b"<")
        handler.wfile.flush()
        time.sleep(0.2)


def cut_off(handler):
    handler.wfile.write(b"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n<status>")
