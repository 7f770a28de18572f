// Opens a vireo-report page in headless Chromium through the DevTools
// protocol (over --remote-debugging-pipe, so no extra npm package) and
// checks it as a user would meet it: no console error, one mark per sample
// in each plot, a click on a point opens that sample, a screenshot that is
// not blank. Prints one JSON line with the figures; exit 1 on a failed check.
// usage: node browser-check.js REPORT.html SCREENSHOT.png SAMPLES RUNS
"use strict";
const {spawn} = require("child_process");
const fs = require("fs");
const os = require("os");
const path = require("path");
const zlib = require("zlib");

const [report, shot, samples, runs] = process.argv.slice(2);
if (!report || !shot || !samples || !runs) {
  console.error("usage: node browser-check.js REPORT.html SCREENSHOT.png SAMPLES RUNS");
  process.exit(2);
}
const profile = fs.mkdtempSync(path.join(os.tmpdir(), "vireo-chromium-"));
const chrome = spawn(process.env.CHROMIUM || "chromium", [
  "--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-extensions",
  "--remote-debugging-pipe", `--user-data-dir=${profile}`, "about:blank"],
  {stdio: ["ignore", "ignore", "ignore", "pipe", "pipe"]});
const failures = [], consoleErrors = [];
let nextId = 0, buffer = "";
const pending = new Map(), waiters = [];
const send = (method, params = {}, sessionId) => new Promise((resolve, reject) => {
  const id = ++nextId;
  pending.set(id, {resolve, reject, method});
  chrome.stdio[3].write(JSON.stringify({id, method, params, sessionId}) + "\0");
});
chrome.stdio[4].on("data", (chunk) => {
  buffer += chunk;
  for (let end; (end = buffer.indexOf("\0")) >= 0; buffer = buffer.slice(end + 1)) {
    const m = JSON.parse(buffer.slice(0, end));
    if (m.id && pending.has(m.id)) {
      const p = pending.get(m.id); pending.delete(m.id);
      m.error ? p.reject(new Error(`${p.method}: ${m.error.message}`)) : p.resolve(m.result);
    } else if (m.method === "Runtime.exceptionThrown") {
      consoleErrors.push(m.params.exceptionDetails.exception?.description || m.params.exceptionDetails.text);
    } else if (m.method === "Runtime.consoleAPICalled" && m.params.type === "error") {
      consoleErrors.push(m.params.args.map((a) => a.value ?? a.description).join(" "));
    } else if (m.method === "Log.entryAdded" && m.params.entry.level === "error") {
      consoleErrors.push(m.params.entry.text);
    }
    for (const w of waiters.splice(0)) w(m);
  }
});
const sleep = (ms) => new Promise((r) => setTimeout(r, ms));
const check = (ok, what) => { if (!ok) failures.push(what); };

// Pixels of an 8-bit RGB(A) PNG, as Chromium writes screenshots.
function decodePng(file) {
  const b = fs.readFileSync(file);
  let at = 8, width = 0, height = 0, channels = 4;
  const idat = [];
  while (at < b.length) {
    const len = b.readUInt32BE(at), type = b.toString("ascii", at + 4, at + 8), data = b.subarray(at + 8, at + 8 + len);
    if (type === "IHDR") { width = data.readUInt32BE(0); height = data.readUInt32BE(4); channels = data[9] === 6 ? 4 : 3; }
    if (type === "IDAT") idat.push(data);
    at += 12 + len;
  }
  const raw = zlib.inflateSync(Buffer.concat(idat)), stride = width * channels, out = Buffer.alloc(stride * height);
  for (let y = 0; y < height; y++) {
    const filter = raw[y * (stride + 1)], row = raw.subarray(y * (stride + 1) + 1, (y + 1) * (stride + 1));
    for (let x = 0; x < stride; x++) {
      const a = x >= channels ? out[y * stride + x - channels] : 0, up = y > 0 ? out[(y - 1) * stride + x] : 0;
      const c = x >= channels && y > 0 ? out[(y - 1) * stride + x - channels] : 0;
      const paeth = () => { const p = a + up - c, pa = Math.abs(p - a), pb = Math.abs(p - up), pc = Math.abs(p - c);
        return pa <= pb && pa <= pc ? a : pb <= pc ? up : c; };
      const pred = [0, a, up, (a + up) >> 1, filter === 4 ? paeth() : 0][filter];
      out[y * stride + x] = (row[x] + pred) & 255;
    }
  }
  return {width, height, channels, pixels: out};
}

async function main() {
  const {targetId} = await send("Target.createTarget", {url: "about:blank"});
  const {sessionId} = await send("Target.attachToTarget", {targetId, flatten: true});
  const call = (method, params) => send(method, params, sessionId);
  const evaluate = async (expression) => (await call("Runtime.evaluate", {expression, returnByValue: true, awaitPromise: true})).result.value;
  await call("Runtime.enable"); await call("Log.enable"); await call("Page.enable");
  await call("Emulation.setDeviceMetricsOverride", {width: 1400, height: 1400, deviceScaleFactor: 1, mobile: false});
  const loaded = new Promise((resolve) => { const w = (m) => m.method === "Page.loadEventFired" ? resolve() : waiters.push(w); waiters.push(w); });
  const started = Date.now();
  await call("Page.navigate", {url: "file://" + path.resolve(report)});
  await loaded;
  while (await evaluate("document.body && document.body.dataset.ready") !== "1") {
    if (Date.now() - started > 30000) throw new Error("the page never became ready");
    await sleep(10);
  }
  const loadMs = Date.now() - started;
  const timing = await evaluate("JSON.stringify(performance.getEntriesByType('navigation')[0])");
  const counts = await evaluate(`[...["#chroma circle.mark.a", "#chroma circle.mark.b", "#cdf circle.mark.a", "#cdf circle.mark.b"]].map((q) => document.querySelectorAll(q).length).concat(+document.getElementById("samples").dataset.rows)`);
  const n = +samples, two = +runs === 2;
  check(counts[0] === n, `chromaticity plot: ${counts[0]} marks of the first run, expected ${n}`);
  check(counts[1] === (two ? n : 0), `chromaticity plot: ${counts[1]} marks of the second run`);
  check(counts[2] === n && counts[3] === (two ? n : 0), `error plot: ${counts[2]} + ${counts[3]} marks`);
  check(counts[4] === n, `sample table: ${counts[4]} rows, expected ${n}`); // laid out as it scrolls

  // A real click on the middle of a point of the first run.
  const target = await evaluate(`(() => { const el = document.querySelectorAll("#chroma circle.mark.a")[${Math.floor(n / 3)}];
    el.scrollIntoView({block: "center"}); const r = el.getBoundingClientRect();
    return {x: r.x + r.width / 2, y: r.y + r.height / 2, i: +el.dataset.i}; })()`);
  const key = await evaluate(`JSON.parse(document.getElementById("report-data").textContent).samples[${target.i}].k`);
  // Another point may lie on top of the chosen one; the click opens whichever the user hits.
  const hit = await evaluate(`(() => { const el = document.elementFromPoint(${target.x}, ${target.y}); return el && el.dataset.i != null ? +el.dataset.i : -1; })()`);
  const hitKey = await evaluate(`(JSON.parse(document.getElementById("report-data").textContent).samples[${hit}] || {}).k`);
  for (const type of ["mouseMoved", "mousePressed", "mouseReleased"]) {
    await call("Input.dispatchMouseEvent", {type, x: target.x, y: target.y, button: "left", clickCount: 1});
  }
  const clicked = Date.now();
  while (await evaluate("document.getElementById('detail').dataset.drawn") !== hitKey && Date.now() - clicked < 5000) await sleep(20);
  const detail = await evaluate(`({key: document.getElementById("detail-key")?.textContent, canvases: [...document.querySelectorAll("#detail canvas")].filter((c) => c.width > 0).length,
    explained: document.querySelectorAll("#detail table.explain").length, row: document.querySelector("#samples tr.on")?.dataset.i})`);
  check(hit >= 0, "the click point is covered by no mark");
  check(detail.key === hitKey, `clicking ${hitKey} (${key} aimed at) opened ${detail.key}`);
  check(detail.canvases >= 1, "the sample's preview was not drawn");
  check(+detail.row === hit, "the sample's table row is not highlighted");

  // The scene filter narrows the table and dims the other samples' points.
  const filtered = await evaluate(`(() => { const samples = JSON.parse(document.getElementById("report-data").textContent).samples;
    const scene = samples[${hit}].k.split("/")[0], sel = document.getElementById("scene");
    sel.value = scene; sel.dispatchEvent(new Event("input"));
    const r = {expected: samples.filter((s) => s.k.startsWith(scene + "/")).length, rows: +document.getElementById("samples").dataset.rows,
      lit: document.querySelectorAll("#chroma circle.mark.a:not(.dim)").length};
    sel.value = ""; sel.dispatchEvent(new Event("input")); return r; })()`);
  check(filtered.rows === filtered.expected && filtered.lit === filtered.expected,
    `scene filter: ${filtered.rows} rows and ${filtered.lit} points for ${filtered.expected} samples`);
  await evaluate("window.scrollTo(0, 0)");
  const {data} = await call("Page.captureScreenshot", {format: "png"});
  fs.writeFileSync(shot, Buffer.from(data, "base64"));
  const img = decodePng(shot), colours = new Set();
  let inked = 0;
  for (let p = 0; p < img.width * img.height; p++) {
    const o = p * img.channels, r = img.pixels[o], g = img.pixels[o + 1], b = img.pixels[o + 2];
    colours.add((r << 16) | (g << 8) | b);
    if (r + g + b < 600) inked++;
  }
  check(colours.size > 100 && inked > img.width * img.height * 0.02, `screenshot looks blank (${colours.size} colours)`);
  check(consoleErrors.length === 0, `console errors: ${consoleErrors.join(" | ")}`);
  console.log(JSON.stringify({loadMs, domContentLoadedMs: Math.round(JSON.parse(timing).domContentLoadedEventEnd),
    bytes: fs.statSync(report).size, marks: counts, clicked: detail.key, colours: colours.size, failures}));
}

main().catch((e) => failures.push(String(e.stack || e))).finally(async () => {
  try { await Promise.race([send("Browser.close"), sleep(2000)]); } catch (e) { /* already gone */ }
  const exited = new Promise((r) => chrome.exitCode !== null ? r() : chrome.once("exit", r));
  chrome.kill();
  await Promise.race([exited, sleep(3000)]);
  try { fs.rmSync(profile, {recursive: true, force: true, maxRetries: 5}); } catch (e) { /* left in tmp */ }
  for (const f of failures) console.error("browser-check: " + f);
  process.exit(failures.length ? 1 : 0);
});
