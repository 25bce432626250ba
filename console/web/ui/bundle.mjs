// Bundles the browser's part and writes it, compressed, as a C++ source: node bundle.mjs OUTPUT
import { readFileSync, writeFileSync } from 'node:fs';
import { gzipSync } from 'node:zlib';
import { build } from 'esbuild';

const built = await build({
  entryPoints: ['src/app.tsx', 'src/app.css'],
  outdir: '/',
  bundle: true,
  minify: true,
  write: false,
  target: 'es2022',
  jsx: 'automatic',
  jsxImportSource: 'preact',
  legalComments: 'none',
  external: ['/icon.svg'],
});
const bundled = (name) => Buffer.from(built.outputFiles.find((file) => file.path.endsWith(name)).contents);
const files = [
  ['/', 'text/html; charset=utf-8', readFileSync('index.html')],
  ['/app.js', 'text/javascript; charset=utf-8', bundled('app.js')],
  ['/app.css', 'text/css; charset=utf-8', bundled('app.css')],
  ['/icon.svg', 'image/svg+xml', readFileSync('icon.svg')],
].map(([path, type, bytes]) => ({ path, type, bytes: gzipSync(bytes, { level: 9 }) }));

let source = '#include "console/web/ui_bundle.h"\n\nnamespace web {\nnamespace {\n\n';
files.forEach(({ bytes }, i) => {
  source += `constexpr unsigned char kBytes${i}[] = {${[...bytes].join(',')}};\n`;
});
source += '\nstd::string_view Text(const unsigned char* bytes, size_t size) {\n';
source += '  return {reinterpret_cast<const char*>(bytes), size};\n}\n\n}  // namespace\n\n';
source += 'std::span<const UiFile> UiFiles() {\n  static const UiFile files[] = {\n';
files.forEach(({ path, type }, i) => {
  source += `      {"${path}", "${type}", Text(kBytes${i}, sizeof kBytes${i})},\n`;
});
source += '  };\n  return files;\n}\n\n}  // namespace web\n';
writeFileSync(process.argv[2], source);
console.log(`${files.reduce((sum, { bytes }) => sum + bytes.length, 0)} bytes compressed`);
