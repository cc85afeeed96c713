// Builds one file: script and style stand in the page itself, so that it opens from a disk, where
// a browser would refuse to fetch them. All of it is ASCII, so that it can be embedded anywhere.
import { readFileSync } from 'node:fs';
import { defineConfig } from 'vite';

function Ascii(text, escape) {
  let ascii = '';
  for (let i = 0; i < text.length; ++i) {
    const code = text.charCodeAt(i);
    ascii += code < 128 ? text[i] : escape(code);
  }
  return ascii;
}

/// Moves what the bundle made into the page and drops it as files of their own.
function OneFile() {
  return {
    name: 'one-file',
    enforce: 'post',
    generateBundle(_options, bundle) {
      const page = Object.values(bundle).find((file) => file.fileName.endsWith('.html'));
      if (!page || page.type !== 'asset') throw new Error('no page was built');
      let script = '';
      let style = '';
      for (const file of Object.values(bundle)) {
        if (file === page) continue;
        if (file.type === 'chunk') script += file.code;
        else if (file.fileName.endsWith('.css')) style += String(file.source);
        else throw new Error(`${file.fileName} would be fetched`);
        delete bundle[file.fileName];
      }
      // Only inside of a string, a template or an expression can these be in a script.
      script = script.replace(/<\/script/gi, '<\\/script').replace(/<!--/g, '<\\!--');
      script = Ascii(script, (code) => '\\u' + code.toString(16).padStart(4, '0'));
      style = Ascii(style, (code) => '\\' + code.toString(16) + ' ');
      let html = String(page.source)
        .replace(/\s*<script[^>]*\bsrc=[^>]*><\/script>/, '')
        .replace(/\s*<link[^>]*rel="stylesheet"[^>]*>/, '');
      html = Ascii(html, (code) => `&#${code};`);
      // The page carries code of a library whose licence wants to be carried along.
      const licence = readFileSync('node_modules/three/LICENSE', 'utf8').trim().replace('©', '(c)');
      const notice = `<!-- This page draws with the library three:\n\n${licence}\n-->`;
      const head = `${notice}\n<style>\n${style.trim()}\n</style>\n</head>`;
      html = html.replace('</head>', () => head);
      // After the motion, which it reads as soon as it runs.
      const body = `<script type="module">\n${script.trim()}\n</script>\n</body>`;
      html = html.replace('</body>', () => body);
      page.source = html;
      page.fileName = 'viewer.html';
    },
  };
}

export default defineConfig({
  base: './',
  plugins: [OneFile()],
  build: {
    target: 'es2022',
    modulePreload: false,
    cssCodeSplit: false,
    assetsInlineLimit: 1 << 20,
    reportCompressedSize: false,
    chunkSizeWarningLimit: 2000,
  },
});
