// A logger network of which one machine is far away: its bus server reaches the others over a slow and lossy link.
import assert from "node:assert/strict";
import { after, before, describe, test } from "node:test";
import { layCables } from "../../kit/js/machine.mjs";
import { block, comesValue, kOwnNetwork, Site, watching } from "../../kit/js/site.mjs";
import { SlowLink } from "../../kit/js/slow_link.mjs";
import { patience } from "../../kit/js/wait.mjs";

const kPort = 7422; // of the first machine's bus server, for leaf nodes
const kDelay = 500; // ms, each way
const kLookedAt = 20; // values that are looked at

// The last machine has no other way than the link, which is at the browser's machine.
async function startSite(loss) {
  const kAddress = "10.77.0.253";
  const joint = (machine, [hub, , , far]) => {
    if (machine === hub) return block("hub", { ADDRESS: hub.address });
    return block("leaf", { ADDRESS: machine.address, HUB: machine === far ? kAddress : hub.address });
  };
  let link;
  const prepare = async ([hub, , , far]) => {
    const listen = { host: far.moveAway(), port: kPort };
    assert.equal(listen.host, kAddress);
    link = await new SlowLink({ listen, to: { host: hub.address, port: kPort }, delay: kDelay, ...loss }).start();
  };
  const site = await Site.start(joint, { addresses: [kAddress], prepare });
  await site.machines[3].startWeb();
  return { site, link };
}

// By how many milliseconds the next values of a machine's signal come after their time, looked at from another machine.
async function delays(site, from, of) {
  const client = await watching(site.machines[from - 1], site.machines[of - 1]);
  const all = [];
  while (all.length < kLookedAt) {
    const { timestamp } = await comesValue(client);
    all.push(Date.now() - timestamp / 1000);
  }
  client.terminate();
  return all;
}

const median = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];

describe("a machine that is far away", { skip: !kOwnNetwork && "needs a network of its own" }, () => {
  before(layCables);

  for (const [kind, loss] of [
    ["by half a second each way", {}],
    ["by half a second each way, on a link that loses one piece of thirty", { loseEach: 30, again: 1000 }],
  ]) {
    describe(kind, () => {
      let site, link;
      before(async () => {
        ({ site, link } = await startSite(loss));
      });
      after(async () => {
        await site?.stop();
        await link?.stop();
      });

      test("is in the network, seen from either side", async () => {
        await site.seen(site.machines[0], [1, 2, 3, 4]);
        await site.seen(site.machines[3], [1, 2, 3, 4]);
      });

      test("sends values that come late by as much as the link takes", async () => {
        const far = await delays(site, 1, 4);
        assert.ok(Math.min(...far) >= kDelay, `${far}`);
        assert.ok(median(far) < kDelay + patience(5000), `${far}`);
        if (loss.loseEach) assert.ok(link.lost > 0);
      });

      test("holds up nobody who is near", async () => {
        const near = await delays(site, 1, 2);
        assert.ok(Math.min(...near) < kDelay, `${near}`);
      });
    });
  }
});
