// The page in a browser: clicks, keys, links, search, colours, refusals, and how quick it is.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import {after, before, test} from 'node:test';
import {launch, openPage, readFact, waitForMark} from './browser.mjs';
import {getPath, readDump} from './devices.mjs';

/** @type {import('playwright-core').Browser} */
let browser;
before(async () => {
  browser = await launch();
});
after(() => browser.close());

/**
 * A test on the page of a device. Whatever it does, nothing may fail in the page.
 * @param {string} sentence
 * @param {string} device
 * @param {Parameters<typeof openPage>[2]} options
 * @param {(page: import('playwright-core').Page) => Promise<void>} use
 */
function testPage(sentence, device, options, use) {
  test(sentence, async () => {
    const {page, problems} = await openPage(browser, device, options);
    try {
      await use(page);
      assert.deepEqual(problems, []);
    } finally {
      await page.context().close();
    }
  });
}

/** Where the middle of a tile is on the screen. @param {import('playwright-core').Page} page @param {string} name */
async function findTile(page, name) {
  const at = await page.evaluate((wanted) => {
    // @ts-ignore: of the page
    const view = getApp().planView;
    const tile = Array.from({length: view.plan.count}, (_, i) => i).find((i) => view.plan.getName(i) === wanted) ?? -1;
    const {k, x, y} = view.getScreen();
    const centre = view.plan.getCentre(tile);
    const box = view.overlay.getBoundingClientRect();
    return {x: (centre.x * k + x) / view.ratio + box.left, y: (centre.y * k + y) / view.ratio + box.top};
  }, name);
  return at;
}

const fanouts384 = () => readDump('384', 'edges').filter(([from]) => from === '3_4/bel.lutff_0:out');

testPage('a click on a tile shows its module, its use and its nodes', '384', {}, async (page) => {
  const at = await findTile(page, '3_4');
  await page.mouse.click(at.x, at.y);
  assert.equal(await page.locator('#selected').textContent(), '3_4');
  assert.match(await readFact(page, 'Module'), /^logic_tile/);
  assert.match(await readFact(page, 'Used'), /times$/);
  const nodes = readDump('384', 'nodes').filter(([node]) => node.startsWith('3_4/'));
  assert.equal(await readFact(page, 'Nodes'), String(nodes.length));
  const edges = readDump('384', 'edges').filter(([from]) => from.startsWith('3_4/'));
  assert.ok((await readFact(page, 'Edges out')).startsWith(`${edges.length.toLocaleString('en')} `));
  assert.match(page.url(), /#at=3_4&panel=selection$/);
});

testPage(
    'a click on a node of a tile shows its fanouts as the dump has them', '384', {hash: 'at=3_4&panel=selection'},
    async (page) => {
      await page.locator('input.filter').first().fill('lutff_0:out');
      await page.locator('.list .row', {hasText: '3_4/bel.lutff_0:out'}).click();
      assert.equal(await page.locator('#selected').textContent(), '3_4/bel.lutff_0:out');
      const edges = fanouts384();
      const list = page.getByRole('listbox', {name: /^Fanouts/});
      assert.equal(await list.getAttribute('aria-label'), `Fanouts, ${edges.length}`);
      const shown = await list.locator('.row .name').allTextContents();
      assert.deepEqual(shown, edges.slice(0, shown.length).map(([, , to]) => to));
      const lines = await page.evaluate(() => getApp().marks.lines.length);
      const tiles = new Set(edges.map(([, , to]) => to.split('/')[0]));
      assert.equal(lines, tiles.size);
    });

testPage(
    'an edge shows the walk behind it, and leads to its other end', '384', {hash: 'node=3_4/bel.lutff_0:out&panel=selection'},
    async (page) => {
      const edges = fanouts384();
      const far = edges.findIndex(([, , to]) => !to.startsWith('3_4/'));
      const list = page.getByRole('listbox', {name: /^Fanouts/});
      await list.focus();
      for (let i = 0; i < far; ++i) await page.keyboard.press('ArrowDown');
      await page.keyboard.press('Enter');
      const steps = await page.locator('.walk li').allTextContents();
      assert.match(steps[0], /outside: net 3_4\/lutff_0\.out.*level 1/);
      assert.match(steps[1], /3_4:lutff_0\.out up out of logic_tile.*net net\..*level 0/);
      assert.match(steps[2], /down into .*level 1/);
      assert.ok(steps.at(-1)?.includes(`${edges[far][5]} mux input → ${edges[far][2]}`));
      assert.ok((await page.evaluate(() => getApp().marks.walk.length)) >= 2);
      await page.keyboard.press('g');
      assert.equal(await page.locator('#selected').textContent(), edges[far][2]);
      const fanins = readDump('384', 'edges').filter(([, , to]) => to === edges[far][2]).length;
      assert.match(await page.getByRole('heading', {name: /^Fanins/}).textContent() ?? '', new RegExp(`: ${fanins}$`));
      await page.goBack();
      assert.match(page.url(), new RegExp(`edge=out\\.${far}`));
      assert.equal(await page.locator('#selected').textContent(), '3_4/bel.lutff_0:out');
    });

testPage(
    'a link shows what it was taken of', '384',
    {hash: 'node=3_4/bel.lutff_0:out&edge=out.2&measure=fanin&panel=selection&zoom=3.000,-700.0,-500.0', colorScheme: 'dark'},
    async (page) => {
      assert.equal(await page.locator('#selected').textContent(), '3_4/bel.lutff_0:out');
      assert.equal(await page.locator('#measure').inputValue(), 'fanin');
      assert.equal(await page.locator('.list [aria-selected="true"]').count(), 1);
      assert.equal(await page.evaluate(() => getApp().planView.transform.k), 3);
      assert.equal(await page.evaluate(() => document.documentElement.dataset.theme), 'dark');
    });

testPage('a link to what is not in the device says so', '384', {hash: 'node=99_99/x:y&panel=selection'}, async (page) => {
  assert.match(await page.locator('.problem').textContent() ?? '', /no node 99_99\/x:y/);
});

testPage('search completes names level by level, by keys alone', '384', {}, async (page) => {
  await page.keyboard.press('/');
  await page.keyboard.type('3_');
  await page.locator('#search-list [role=option]').first().waitFor();
  const found = await page.locator('#search-list .name').allTextContents();
  assert.ok(found.includes('3_4') && found.every((name) => name.includes('3_')), found.join());
  await page.keyboard.type('4/bel.lutff_0:');
  await page.locator('#search-list .name', {hasText: '3_4/bel.lutff_0:out'}).waitFor();
  await page.keyboard.type('out');
  await page.keyboard.press('Enter');
  assert.equal(await page.locator('#selected').textContent(), '3_4/bel.lutff_0:out');
  await page.keyboard.press('u');
  assert.equal(await page.locator('#selected').textContent(), '3_4/bel.lutff_0');
  await page.keyboard.press('Escape');
  assert.ok(!page.url().includes('at='));
});

testPage('search finds parts of names', '384', {}, async (page) => {
  await page.locator('#search-input').fill('_4/bel.lutff_7:co');
  const name = page.locator('#search-list .name', {hasText: '3_4/bel.lutff_7:cout'});
  await name.click();
  assert.equal(await page.locator('#selected').textContent(), '3_4/bel.lutff_7:cout');
  await page.locator('#search-input').fill('nowhere at all');
  await page.locator('#search-list .note').waitFor();
});

testPage('the plan is walked by keys, and told', '384', {hash: 'at=3_4'}, async (page) => {
  await page.locator('#overlay').focus();
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('ArrowRight');
  assert.match(await page.locator('#announce').textContent() ?? '', /^4_4, logic_tile.*nodes in the tile/);
  await page.keyboard.press('Enter');
  assert.equal(await page.locator('#selected').textContent(), '4_4');
  await page.keyboard.press('+');
  await page.waitForFunction(() => location.hash.includes('zoom='));
  await page.keyboard.press('0');
  await page.waitForFunction(() => !location.hash.includes('zoom='));
  await page.keyboard.press('?');
  assert.ok(await page.getByRole('dialog', {name: 'Keys'}).isVisible());
  await page.keyboard.press('Escape');
  assert.ok(!(await page.getByRole('dialog', {name: 'Keys'}).isVisible()));
});

testPage(
    'everything is reached by Tab, and shows that it has the focus', '384',
    {hash: 'node=3_4/bel.lutff_0:out&edge=out.2&panel=selection'}, async (page) => {
      const reached = new Set();
      for (let i = 0; i < 30; ++i) {
        await page.keyboard.press('Tab');
        reached.add(await page.evaluate(() => {
          const element = /** @type {HTMLElement} */ (document.activeElement);
          if (element !== document.body && getComputedStyle(element).outlineStyle === 'none')
            return `no focus is seen: ${element.outerHTML.slice(0, 80)}`;
          return element.id || element.getAttribute('aria-label') || element.textContent;
        }));
      }
      for (const name
               of ['search-input', 'measure', 'level', 'theme', 'help-button', 'overlay', 'Zoom in', 'tab-selection', 'go',
                   'Fanouts, 31', 'device', '3_4'])
        assert.ok(
            reached.has(name) || [...reached].some((each) => name.startsWith('Fanouts') && String(each).startsWith('Fanouts')),
            `${name} of ${[...reached].join(', ')}`);
      assert.ok(![...reached].some((each) => String(each).startsWith('no focus')), [...reached].join(', '));
    });

for (const measure of ['nodes', 'fanout', 'fanin', 'redundant', 'findings', 'shapes'])
  testPage(`the legend tells the scale of ${measure}`, '384', {hash: `measure=${measure}`}, async (page) => {
    const label = await page.locator('#legend').getAttribute('aria-label');
    assert.match(label ?? '', /\d to \d|all 0/);
  });

testPage('a device without checks tells that findings are unknown', 'deep', {hash: 'measure=findings'}, async (page) => {
  assert.match(await page.locator('#legend').textContent() ?? '', /unknown/);
  await page.getByRole('tab', {name: 'Statistics'}).click();
  await page.getByRole('button', {name: 'Hops', exact: true}).click();
  await page.locator('#chart', {hasText: 'Unknown'}).waitFor();
});

testPage('findings of the check lead to nodes', 'redundant_inputs', {}, async (page) => {
  const facts = JSON.parse(await page.locator('#facts').textContent() ?? '');
  const text = await page.locator('#panel-body').textContent() ?? '';
  for (const {kind} of facts.findings) assert.ok(text.includes(kind), kind);
  assert.ok(facts.findings.length > 0 || text.includes('found nothing'));
});

testPage('a bar of a histogram leads to nodes', '384', {hash: 'panel=statistics&chart=fanout'}, async (page) => {
  await waitForMark(page, 'counted fanout');
  const bars = page.locator('.bars [role=button]');
  const label = await bars.nth(2).getAttribute('aria-label') ?? '';
  const [, low, high, count] = /^(\d+)(?:–(\d+))? fanouts: ([\d,]+) nodes?$/.exec(label) ?? [];
  await bars.first().focus();
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('Enter');
  await waitForMark(page, 'examples');
  const nodes = await page.locator('#examples .list').getAttribute('aria-label') ?? '';
  assert.ok(nodes.endsWith(`, ${Math.min(Number(count.replace(/,/g, '')), 200)}`), `${label}: ${nodes}`);
  const rows = page.locator('#examples .row');
  const degree = Number((await rows.first().locator('.kind').textContent() ?? '').split('→')[1]);
  assert.ok(degree >= Number(low) && degree <= Number(high ?? low));
  await rows.first().click();
  assert.match(await page.getByRole('heading', {name: /^Fanouts/}).textContent() ?? '', new RegExp(`: ${degree}$`));
});

for (const chart of ['fanin', 'hops', 'lengths', 'largest', 'templates'])
  testPage(
      `the statistics of ${chart} are shown, and a row or bar leads to nodes`, '384', {hash: `panel=statistics&chart=${chart}`},
      async (page) => {
        await waitForMark(page, `counted ${chart}`);
        const bars = page.locator('.bars [role=button]');
        if ((await bars.count()) > 0) {
          await bars.nth(1).focus();
          await page.keyboard.press('Enter');
          await waitForMark(page, 'examples');
          await page.locator('#examples .row .name').first().click();
        } else if (chart === 'templates') {
          await page.locator('#chart .row').first().click();
          await waitForMark(page, 'examples');
          await page.locator('#examples .row .name').first().click();
        } else {
          await page.getByRole('listbox', {name: /^Nets with most inst ports/}).locator('.row').first().click();
          await page.locator('#net-nodes .row .name').first().click();
        }
        assert.match(await page.locator('#selected').textContent() ?? '', /:/);
      });

testPage('tiles of another level are chosen, and a narrow window shows all', 'deep', {width: 500}, async (page) => {
  await page.locator('#level').selectOption('2');
  assert.match(page.url(), /level=2/);
  assert.equal(await page.evaluate(() => getApp().plan?.count), 8);
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth));
});

testPage('light and dark follow the system and the switch', '384', {colorScheme: 'dark'}, async (page) => {
  const waitFor = (/** @type {string} */ theme) =>
      page.waitForFunction((wanted) => document.documentElement.dataset.theme === wanted, theme, {timeout: 5000});
  await waitFor('dark');
  await page.emulateMedia({colorScheme: 'light'});
  await waitFor('light');
  await page.locator('#theme').click();
  await waitFor('dark');
  assert.equal(await page.locator('#theme').textContent(), '☀');
});

/**
 * Drops a file onto the page.
 * @param {import('playwright-core').Page} page
 * @param {string} name
 * @param {Buffer} bytes
 */
async function drop(page, name, bytes) {
  const data = await page.evaluateHandle(([file, base64]) => {
    const transfer = new DataTransfer();
    transfer.items.add(new File([Uint8Array.from(atob(base64), (each) => each.charCodeAt(0))], file));
    return transfer;
  }, [name, bytes.toString('base64')]);
  await page.dispatchEvent('body', 'drop', {dataTransfer: data});
}

testPage('a device that is dropped is opened, and a file that is none is refused in one line', '384', {}, async (page) => {
  await drop(page, 'skip_mux.kdb', fs.readFileSync(getPath('skip_mux.kdb')));
  await page.locator('#title', {hasText: 'skip_mux.kdb'}).waitFor();
  assert.equal(await readFact(page, 'Nodes'), '2');
  await drop(page, 'notes.txt', Buffer.from('no device, but text of more than a few bytes'));
  await page.locator('.problem').waitFor();
  assert.equal(
      await page.locator('.problem').textContent(),
      "notes.txt: it is no device database: it doesn't begin with the mark of the format");
});

testPage('the first picture and clicks are quick', '384', {}, async (page) => {
  const first = await page.evaluate(() => performance.getEntriesByName('first picture')[0].startTime);
  for (const tile of ['3_4', '4_4', '0_5', '5_9']) {
    const at = await findTile(page, tile);
    await page.mouse.click(at.x, at.y);
  }
  for (let i = 0; i < 3; ++i) await page.locator('.list .row').nth(i).click();
  const shows = await page.evaluate(() => performance.getEntriesByName('show').slice(1).map(({duration}) => duration));
  assert.ok(first < 5000, `first picture after ${first} ms`);
  assert.ok(shows.length >= 4 && Math.max(...shows) < 400, `clicks took ${shows.map(Math.round).join(', ')} ms`);
});
