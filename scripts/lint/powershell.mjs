// powershell.mjs MODULES FILE...: parses PowerShell scripts, and the steps in workflows, which run in PowerShell too. Prints
// a line per fault and ends with 1 when there is one. MODULES is the folder in which npm has put the grammar.
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { pathToFileURL } from "node:url";

const [modules, ...files] = process.argv.slice(2);
const require = createRequire(`${modules}/`);
const { Language, Parser } = await import(pathToFileURL(require.resolve("web-tree-sitter")));
await Parser.init();
const parser = new Parser();
parser.setLanguage(await Language.load(require.resolve("tree-sitter-powershell/tree-sitter-powershell.wasm")));

// [first line, text] of every script in a file.
function scripts(file) {
  const text = readFileSync(file, "utf8");
  if (!/\.ya?ml$/.test(file)) return [[0, text]];
  const lines = text.split("\n");
  const found = [];
  lines.forEach((line, at) => {
    const block = /^(\s*)(?:- )?run:\s*(.*)$/.exec(line);
    if (!block) return;
    const inside = [];
    if (block[2].startsWith("|")) {
      for (let i = at + 1; i < lines.length && (lines[i].trim() === "" || /^\s*/.exec(lines[i])[0].length > block[1].length); ++i)
        inside.push(lines[i]);
      found.push([at + 1, inside.join("\n")]);
    } else {
      found.push([at, block[2]]);
    }
  });
  // What the workflow puts in before PowerShell sees it.
  return found.map(([at, script]) => [at, script.replace(/\$\{\{.*?\}\}/g, "value")]);
}

function* faults(node) {
  if (node.isError || node.isMissing) yield node;
  else if (node.hasError) for (const child of node.children) yield* faults(child);
}

let bad = 0;
for (const file of files)
  for (const [first, text] of scripts(file))
    for (const node of faults(parser.parse(text).rootNode)) {
      ++bad;
      const near = node.text.split("\n")[0].slice(0, 60);
      console.log(`${file}:${first + node.startPosition.row + 1}: ${node.isMissing ? `missing ${node.type}` : `not PowerShell near '${near}'`}`);
    }
process.exit(bad ? 1 : 0);
