// A logger network on four machines, joined as docs/deployment.md tells.
import { after, before, describe, test } from "node:test";
import { joinHalves, layCables } from "../../kit/js/machine.mjs";
import { block, comesValue, kOwnNetwork, kPassword, Site, watching } from "../../kit/js/site.mjs";

describe("four machines", { skip: !kOwnNetwork && "needs a network of its own" }, () => {
  before(layCables);

  describe("whose bus servers are joined by routes", () => {
    let site, first, third;
    before(async () => {
      const others = (machine, all) => all.filter((other) => other !== machine);
      const route = ({ address }) => `"nats-route://network:${kPassword}@${address}:6222"`;
      site = await Site.start((machine, all) =>
        block("routes", { ADDRESS: machine.address, OTHERS: others(machine, all).map(route).join(", ") }),
      );
      [first, , third] = site.machines;
    });
    after(() => site?.stop());

    test("are one network at every web server, each logger under its interface's address", async () => {
      await site.seen(first, [1, 2, 3, 4]);
      await site.seen(third, [1, 2, 3, 4]);
    });

    test("lose the one whose cable is pulled, and have it back", async () => {
      site.machines[3].plug(false);
      await site.seen(first, [1, 2, 3]);
      site.machines[3].plug(true);
      await site.seen(first, [1, 2, 3, 4]);
    });

    test("go on as two networks when they are cut into halves, and become one again", async () => {
      joinHalves(false);
      await site.seen(first, [1, 2]);
      joinHalves(true);
      await site.seen(first, [1, 2, 3, 4]);
      await site.seen(third, [1, 2, 3, 4]);
    });

    test("go on with a signal when a bus server is replaced", async () => {
      const client = await watching(first, third);
      await comesValue(client);
      await third.replaceBus(site.jointOf(third));
      client.skipAll();
      await comesValue(client);
      client.terminate();
      await site.seen(first, [1, 2, 3, 4]);
    });
  });

  describe("whose bus servers are leaf nodes of one, with TLS and a password", () => {
    let site, first, third;
    before(async () => {
      site = await Site.start((machine, [hub]) => {
        const names = { ADDRESS: machine.address, HUB: hub.address };
        return block(machine === hub ? "hub" : "leaf", names);
      });
      [first, , third] = site.machines;
    });
    after(() => site?.stop());

    test("are one network at every web server", async () => {
      await site.seen(first, [1, 2, 3, 4]);
      await site.seen(third, [1, 2, 3, 4]);
    });

    test("lose the one whose cable is pulled, and have it back", async () => {
      site.machines[1].plug(false);
      await site.seen(third, [1, 3, 4]);
      site.machines[1].plug(true);
      await site.seen(third, [1, 2, 3, 4]);
    });
  });
});
