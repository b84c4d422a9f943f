// A plain static server with byte ranges (RFC 9110, 14), as any web server is.

import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';

const types = {'.html': 'text/html', '.js': 'text/javascript', '.m3u8': 'application/vnd.apple.mpegurl'};

/** Serves the files below each of `folders`, by its name: {'/rec/': '/tmp/rec'}. Answers the server, listening. */
export async function serve(folders) {
  const server = http.createServer((request, response) => {
    const name = decodeURIComponent(new URL(request.url, 'http://localhost').pathname);
    const prefix = Object.keys(folders).find((key) => name.startsWith(key));
    const file = prefix && path.join(folders[prefix], name.slice(prefix.length));
    if (!file || !fs.existsSync(file) || !fs.statSync(file).isFile()) return response.writeHead(404).end();
    const size = fs.statSync(file).size;
    const headers = {'Content-Type': types[path.extname(file)] ?? 'application/octet-stream', 'Cache-Control': 'no-store'};
    const range = /^bytes=(\d+)-(\d*)$/.exec(request.headers.range ?? '');
    if (!range) {
      response.writeHead(200, {...headers, 'Content-Length': size});
      return fs.createReadStream(file).pipe(response);
    }
    const start = Number(range[1]);
    const end = Math.min(range[2] === '' ? size - 1 : Number(range[2]), size - 1);
    if (start > end) return response.writeHead(416, {'Content-Range': `bytes */${size}`}).end();
    response.writeHead(206, {
      ...headers, 'Content-Length': end - start + 1, 'Content-Range': `bytes ${start}-${end}/${size}`});
    fs.createReadStream(file, {start, end}).pipe(response);
  });
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  return server;
}
