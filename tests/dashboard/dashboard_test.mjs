// The dashboard in a real headless chromium against a real tvsimd, which
// serves on a private dbus-daemon of its own (--private-bus). sactl, a client
// of the library that TVSIM_BUS points at the service, changes the TV, and
// busctl plays a scenario; the page must show it.
//   node dashboard_test.mjs TVSIMD SACTL SCREENSHOT
// Exit 0: passed; 77: chromium cannot start here (skipped); anything else: failed.
import {spawn, execFile} from 'node:child_process';
import {createInterface} from 'node:readline';
import {promisify} from 'node:util';
import {writeFileSync} from 'node:fs';
import {dirname, join} from 'node:path';
import assert from 'node:assert/strict';
import puppeteer from 'puppeteer-core';

const [tvsimdPath, sactlPath, screenshotPath] = process.argv.slice(2);
const run = promisify(execFile);
const kSkip = 77;
const kVolume = 'orvik.sl2.i32.audio.volume';
const kLanguage = 'orvik.sl2.str.system.menu-language';

// tvsimd with its own bus and the dashboard on a free loopback port; resolves once it is ready.
function startTvsimd() {
  const child = spawn(tvsimdPath, ['--private-bus', '--http', '127.0.0.1:0'], {stdio: ['ignore', 'pipe', 'inherit']});
  const lines = createInterface({input: child.stdout});
  return new Promise((resolve, reject) => {
    const found = {child};
    const timer = setTimeout(() => reject(new Error('tvsimd did not print ready within 10 s')), 10000);
    child.on('exit', (code) => reject(new Error(`tvsimd exited early (${code})`)));
    lines.on('line', (line) => {
      const exported = line.match(/^export DBUS_SESSION_BUS_ADDRESS='(.*)'$/);
      const dashboard = line.match(/^dashboard (\S+)$/);
      if (exported) found.address = exported[1];
      if (dashboard) found.url = dashboard[1];
      if (line === 'ready') { clearTimeout(timer); resolve(found); }
    });
  });
}

function stopTvsimd(child) {
  if (child.exitCode !== null) return Promise.resolve(child.exitCode);
  return new Promise((resolve) => {
    const timer = setTimeout(() => child.kill('SIGKILL'), 10000);
    child.removeAllListeners('exit');
    child.on('exit', (code) => { clearTimeout(timer); resolve(code); });
    child.kill('SIGTERM');
  });
}

// sactl ARGUMENTS as a client process of the service: its exit code and output.
async function sactl(address, ...command) {
  const env = {...process.env, TVSIM_BUS: address};
  try {
    const {stdout} = await run(sactlPath, command, {timeout: 10000, env});
    return {code: 0, out: stdout.trim()};
  } catch (failure) {
    return {code: failure.code, out: `${failure.stdout ?? ''}${failure.stderr ?? ''}`.trim()};
  }
}

// A model of `count` integers, loaded on top of the default TV.
function loadBigModel(address, count) {
  const values = Array.from({length: count}, (_, i) => ({path: `load.group${i % 40}.value${i}`, type: 'integer', value: 0}));
  const file = join(dirname(screenshotPath), 'big_model.json');
  writeFileSync(file, JSON.stringify({name: 'load', values}));
  return run('busctl', [`--address=${address}`, 'call', 'io.sysaccess.TvSim', '/io/sysaccess/TvSim',
                        'io.sysaccess.TvSim.Control', 'LoadModel', 's', file], {timeout: 10000});
}

// Scenario.Play of the scenario, as busctl (a peer that leaves at once: the play runs on to its time limit).
function playScenario(address, scenario) {
  return run('busctl', [`--address=${address}`, 'call', 'io.sysaccess.TvSim', '/io/sysaccess/TvSim',
                        'io.sysaccess.TvSim.Scenario', 'Play', 'ss', JSON.stringify(scenario), ''], {timeout: 10000});
}

// 200 changes a second for two seconds through the page's own API; the page's longest frame meanwhile.
async function measureUnderLoad(page, url, count) {
  const token = await page.$eval('meta[name="tvsim-token"]', (node) => node.content);
  await page.evaluate(() => {
    window.frameGaps = [];
    let last = performance.now();
    const tick = (now) => { window.frameGaps.push(now - last); last = now; if (!window.stopFrames) requestAnimationFrame(tick); };
    requestAnimationFrame(tick);
  });
  const set = (path, value) => fetch(`${url}api/value`, {
    method: 'POST', headers: {'X-TvSim-Token': token}, body: JSON.stringify({path, value}),
  });
  for (let batch = 0; batch < 40; ++batch) {
    const started = Date.now();
    await Promise.all(Array.from({length: 10}, (_, i) => {
      const index = (batch * 10 + i) * 7 % count;
      return set(`load.group${index % 40}.value${index}`, batch + 1);
    }));
    await new Promise((resolve) => setTimeout(resolve, Math.max(0, 50 - (Date.now() - started))));
  }
  await set('load.group0.value0', 4242);
  await page.waitForFunction((selector) => document.querySelector(selector)?.textContent === '4242',
                             {timeout: 2000}, valueSelector('load.group0.value0'));
  return page.evaluate(() => {
    window.stopFrames = true;
    const gaps = window.frameGaps.slice(1).sort((a, b) => a - b);
    return {frames: gaps.length, longest: gaps[gaps.length - 1], p95: gaps[Math.floor(gaps.length * 0.95)]};
  });
}

const text = (page, selector) => page.$eval(selector, (node) => node.textContent);
const valueSelector = (path) => `.leaf[data-path="${path}"] .value`;

async function main() {
  const tv = await startTvsimd();
  let browser;
  try {
    try {
      browser = await puppeteer.launch({
        executablePath: '/usr/bin/chromium',
        args: ['--headless=new', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage'],
        timeout: 30000,
      });
    } catch (failure) {
      console.log(`SKIP: chromium cannot start here: ${failure.message.split('\n')[0]}`);
      return kSkip;
    }
    const page = await browser.newPage();
    await page.setViewport({width: 1440, height: 1000});
    const pageErrors = [];
    page.on('pageerror', (error) => pageErrors.push(error.message));
    await page.goto(tv.url, {waitUntil: 'load', timeout: 10000});

    // The default TV's channel.
    await page.waitForFunction(() => document.getElementById('channel-name').textContent === 'News One',
                               {timeout: 5000});
    assert.equal(await text(page, '#channel-number'), '1');
    assert.equal(await text(page, '#channel-uri'), 'dvb://1.1.101');
    await page.waitForSelector('#link.up', {timeout: 5000});

    // A value set on the bus shows within a second.
    const before = Date.now();
    const set = await sactl(tv.address, 'set', kVolume, '42');
    assert.equal(set.code, 0, `sactl set: ${set.out}`);
    await page.waitForFunction((selector) => document.querySelector(selector)?.textContent === '42',
                               {timeout: 1000}, valueSelector(kVolume));
    console.log(`a value set on the bus showed after ${Date.now() - before} ms`);

    // A click on a fault control makes the next get of that path fail.
    assert.equal((await sactl(tv.address, 'get', kLanguage)).out, `${kLanguage} = eng`);
    const faultButton = `.leaf[data-path="${kLanguage}"] button[data-fault="fail-getter"]`;
    await page.click(faultButton);
    await page.waitForSelector(`${faultButton}[aria-pressed="true"]`, {timeout: 2000});
    const failed = await sactl(tv.address, 'get', kLanguage);
    assert.equal(failed.code, 1, `the get after the click answered ${failed.out}`);
    assert.match(failed.out, /reading '.*' failed with status/);

    // A client's pauseAV: in the request log, and the web engine holds video and audio.
    const paused = await sactl(tv.address, 'source', 'pauseAV');
    assert.equal(paused.code, 0, `pauseAV: ${paused.out}`);
    assert.match(paused.out, /^pauseAV\(\) -> true$/m);
    await page.waitForFunction(() => [...document.querySelectorAll('#requests tbody tr')].some((row) =>
      row.cells[1].textContent === 'orvik.sl2.action.source.switch' &&
      row.cells[2].textContent.includes('1: 2, 2: hbbtv, 3: 3') && row.cells[3].textContent === 'success'),
    {timeout: 2000});
    await page.waitForFunction(() => document.getElementById('holder-video').textContent === 'web engine' &&
                               document.getElementById('holder-audio').textContent === 'web engine', {timeout: 1000});
    assert.equal(await text(page, '#holder-psi'), 'system');

    // A scenario's progress: its name, then an expectation a client's connect meets.
    await playScenario(tv.address, {name: 'page check', 'time-limit-ms': 60000, expectations: [
      {connect: {path: kVolume}}, {connect: {path: 'orvik.sl2.table.channels'}}]});
    const summary = (expected) => page.waitForFunction((shown) =>
      document.getElementById('scenario-summary').textContent === shown, {timeout: 2000}, expected);
    await summary('playing: 0 of 0 steps done, 0 of 2 expectations met, 2 pending');
    assert.equal(await text(page, '#scenario-name'), 'page check');
    assert.equal((await sactl(tv.address, 'get', kVolume)).code, 0);
    await summary('playing: 0 of 0 steps done, 1 of 2 expectations met, 1 pending');
    assert.match(await text(page, '#scenario-entries tbody tr:nth-child(1) td:nth-child(2)'), /^met/);

    await page.screenshot({path: screenshotPath, fullPage: true});
    console.log(`screenshot: ${screenshotPath}`);

    // Responsive with 2,000 paths and 200 changes a second: changes drawn once per frame.
    await loadBigModel(tv.address, 2000);
    await page.waitForFunction(() => document.getElementById('path-count').textContent.startsWith('(2010 '),
                               {timeout: 5000});
    const frames = await measureUnderLoad(page, tv.url, 2000);
    console.log(`2,000 paths, 200 changes/s for 2 s: ${frames.frames} frames, longest ${frames.longest.toFixed(0)} ms, ` +
                `95th percentile ${frames.p95.toFixed(0)} ms`);
    assert.ok(frames.longest < 1000, `the page froze for ${frames.longest} ms`);
    assert.deepEqual(pageErrors, []);
    return 0;
  } finally {
    if (browser) await browser.close();
    assert.equal(await stopTvsimd(tv.child), 0, 'tvsimd did not stop cleanly');
  }
}

main().then((code) => process.exit(code), (failure) => {
  console.error(`FAILED: ${failure.stack || failure}`);
  process.exit(1);
});
