// Networks in which a logger does not do what it should, and networks that change.
import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { answerText, errorText, okText } from "../../kit/js/answers.mjs";
import { completeInfo, kLoggers, Network } from "../../kit/js/network.mjs";
import { until } from "../../kit/js/wait.mjs";

// Most of the time everybody waits for somebody here.
const kSideBySide = { concurrency: 4 };

const [kFront, kRear, kRoof] = kLoggers;

// A network in which the third logger follows a scenario; ended after the body.
async function withScenario(scenario, body) {
  await withNetwork({ loggers: [kFront, kRear, { ...kRoof, scenario }] }, body);
}

async function withNetwork(options, body) {
  const network = await Network.start(options);
  try {
    await body(network);
  } finally {
    await network.stop();
  }
}

const macs = (info) => info.configs.map(({ mac }) => mac);

// Whether a command still waits for the logger info.
async function waitsForInfo(client) {
  client.skipAll();
  const text = await client.rawAnswer('{"command":"dance"}');
  if (text === errorText("dance", "wait for logger info")) return true;
  assert.equal(text, errorText("dance", "invalid_command"));
  return false;
}

// A ping is answered, and nothing else has come by then.
async function assertNothingElseComes(client) {
  assert.equal(await client.rawAnswer('{"command":"ping"}'), okText("ping"));
}

describe("a slow logger", kSideBySide, () => {
  test("leaves the info in progress, and complete once its answer has come", async () => {
    await withScenario({ requests: { 53: { delay: "1500ms" } } }, async (network) => {
      const client = await network.connect();
      const info = await client.ask("get_logger_info");
      assert.equal(info.status, "PROGRESS");
      assert.deepEqual(
        macs(info),
        kLoggers.map(({ mac }) => mac),
      );
      assert.equal(info.configs[2].timezone, "");
      assert.equal(await waitsForInfo(client), true);
      await until("the info is complete", async () => !(await waitsForInfo(client)));
      // The late answers complete the collection silently.
      assert.equal(client.answers.filter(({ response }) => response === "get_logger_info").length, 1);
    });
  });

  test("keeps everybody waiting for its state, and then all states come", async () => {
    await withScenario({ requests: { 23: { delay: "1s" } } }, async (network) => {
      const client = await network.connectReady();
      const started = Date.now();
      const answer = await client.ask("get_logger_status");
      assert.ok(Date.now() - started >= 950);
      assert.deepEqual(
        answer.logger_status.map(({ mac }) => mac),
        kLoggers.map(({ mac }) => mac),
      );
    });
  });

  test("that answers after the wait is over is still waited for", async () => {
    await withScenario({ requests: { 89: { delay: "3s" } } }, async (network) => {
      const client = await network.connectReady();
      client.send({ command: "get_ksl_time_offset" });
      client.send({ command: "ping" });
      assert.equal((await client.next()).response, "ping");
      assert.equal((await client.answerTo("get_ksl_time_offset")).offset.length, 3);
    });
  });
});

describe("a silent logger", kSideBySide, () => {
  test("is missing from the info, which stays in progress", async () => {
    await withScenario({ requests: { "*": { answers: 0 } } }, async (network) => {
      const client = await network.connect();
      const started = Date.now();
      const info = await client.ask("get_logger_info");
      assert.ok(Date.now() - started >= 1_950, "the whole wait");
      assert.equal(info.status, "PROGRESS");
      assert.deepEqual(macs(info), [kFront.mac, kRear.mac]);
      assert.equal(await waitsForInfo(client), true);
    });
  });

  test("keeps the states and the time offsets from coming at all", async () => {
    await withScenario({ requests: { 23: { answers: 0 }, 89: { answers: 0 } } }, async (network) => {
      const client = await network.connectReady();
      client.send({ command: "get_logger_status" });
      client.send({ command: "get_ksl_time_offset" });
      await assertNothingElseComes(client);
    });
  });

  test("is unknown in kind when it does not tell its components", async () => {
    await withScenario({ requests: { 117: { answers: 0 } } }, async (network) => {
      const info = await (await network.connect()).ask("get_logger_info");
      assert.equal(info.status, "PROGRESS");
      assert.equal(info.configs[2].logger_type, "unknown");
      assert.equal(info.configs[2].softwareVersion, "");
    });
  });
});

describe("a logger that answers twice", kSideBySide, () => {
  test("counts once", async () => {
    const loggers = [
      kFront,
      { ...kRear, scenario: { requests: { 23: { answers: 2 } } } },
      { ...kRoof, scenario: { requests: { 23: { answers: 0 } } } },
    ];
    await withNetwork({ loggers }, async (network) => {
      const client = await network.connectReady();
      client.send({ command: "get_logger_status" });
      await assertNothingElseComes(client);
    });
  });

  test("stands once in the info", async () => {
    await withScenario({ requests: { "*": { answers: 3 } } }, async (network) => {
      const client = await network.connectReady();
      assert.deepEqual(
        macs(client.info),
        kLoggers.map(({ mac }) => mac),
      );
    });
  });
});

describe("a logger that fails", kSideBySide, () => {
  for (const [status, told] of [
    [2, "ERROR"],
    [3, "KRPSTATUS_NOTAVAILABLE"],
  ]) {
    test(`with bus status ${status} is reported by itself, and no states come`, async () => {
      const failure = { status, error_code: 6, description: 'no "disk" \u00fc' };
      await withScenario({ requests: { 23: failure } }, async (network) => {
        network.expectInLog(/^\[ERROR\] KLV::(addKrpStatus|addKrpErrorCode|handleMessages)\(\) /);
        const client = await network.connectReady();
        client.send({ command: "get_logger_status" });
        assert.equal(
          client.textOf(await client.next()),
          answerText({
            response: "get_logger_status",
            status: "ERROR",
            krp_status: told,
            error_code: "krpbus_error",
            krp_error_code: "KRPERROR_NO_RESOURCES",
            krp_error_description: failure.description,
          }),
        );
        await assertNothingElseComes(client);
      });
    });
  }

  test("without a description has no such member", async () => {
    await withScenario({ requests: { 89: { status: 3, error_code: 4 } } }, async (network) => {
      network.expectInLog(/^\[ERROR\] KLV::(addKrpErrorCode|handleMessages)\(\) /);
      const client = await network.connectReady();
      client.send({ command: "get_ksl_time_offset" });
      assert.equal(
        client.textOf(await client.next()),
        answerText({
          response: "get_ksl_time_offset",
          status: "ERROR",
          krp_status: "KRPSTATUS_NOTAVAILABLE",
          error_code: "krpbus_error",
          krp_error_code: "KRPERROR_NOT_FOUND",
        }),
      );
    });
  });

  test("leaves the info in progress and its own entry empty", async () => {
    await withScenario({ requests: { 82: { status: 2, error_code: 8 }, 53: { status: 2, error_code: 8 } } }, async (network) => {
      network.expectInLog(/^\[ERROR\] KLV::/);
      const client = await network.connect();
      const info = await client.ask("get_logger_info");
      assert.equal(info.status, "PROGRESS");
      assert.equal(info.configs[2].config_name, "");
      assert.equal(info.configs[2].timezone, "");
      assert.equal(info.configs[2].logger_type, kRoof.type);
      assert.equal(await waitsForInfo(client), true);
    });
  });

  test("because it is busy gives its answer to a later request", async () => {
    await withScenario({ requests: { 23: { busy: 1 } } }, async (network) => {
      network.expectInLog(/^\[ERROR\] KLV::(addKrpStatus|addKrpErrorCode)\(\) /);
      const client = await network.connectReady();
      const first = await client.ask("get_logger_status");
      assert.equal(first.krp_error_code, "KRPERROR_BUSY");
      const second = await client.ask("get_logger_status");
      assert.equal(second.status, "OK");
      assert.equal(second.logger_status.length, 3);
    });
  });

  test("the neighbour list of the local logger is asked for again", async () => {
    const local = { ...kFront, scenario: { requests: { 88: { busy: 1 } } } };
    await withNetwork({ loggers: [local, kRear] }, async (network) => {
      network.expectInLog(/^\[ERROR\] KLV::/);
      const client = await network.connect();
      assert.equal((await client.ask("get_ksl_network")).krp_error_code, "KRPERROR_BUSY");
      assert.deepEqual(macs(await completeInfo(client)), [kFront.mac, kRear.mac]);
    });
  });

  test("with half a message is not heard, and nobody minds", async () => {
    await withScenario({ requests: { 23: { malformed: true } } }, async (network) => {
      network.expectInLog(/^\[ERROR\] KLV::/);
      const client = await network.connectReady();
      client.send({ command: "get_logger_status" });
      await assertNothingElseComes(client);
      assert.equal((await client.ask("get_ksl_time_offset")).offset.length, 3);
    });
  });
});

describe("a network that changes", kSideBySide, () => {
  test("a logger that leaves in between closes the session, and the next one goes without it", async () => {
    await withScenario({ requests: { 53: { leave: true } } }, async (network) => {
      const client = await network.connect();
      client.send({ command: "get_logger_info" });
      assert.equal((await client.closed()).code, 1001);
      const next = await network.connectReady();
      assert.deepEqual(macs(next.info), [kFront.mac, kRear.mac]);
    });
  });

  test("a logger that vanishes does the same once it has not been heard for some seconds", async () => {
    const loggers = kLoggers.map((logger) => ({ ...logger, neighboursTimeout: "2s" }));
    await withNetwork({ loggers }, async (network) => {
      const client = await network.connectReady();
      await network.loggers[2].kill();
      assert.equal((await client.closed()).code, 1001);
      assert.deepEqual(macs((await network.connectReady()).info), [kFront.mac, kRear.mac]);
    });
  });

  test("a logger that joins closes the session, and the next one lists it", async () => {
    await withNetwork({ loggers: [kFront, kRear] }, async (network) => {
      const client = await network.connectReady();
      assert.equal(client.info.configs.length, 2);
      await network.addLogger(kRoof);
      assert.equal((await client.closed()).code, 1001);
      assert.deepEqual(
        macs((await network.connectReady()).info),
        kLoggers.map(({ mac }) => mac),
      );
    });
  });

  test("a single logger needs nobody else, and its network has no name", async () => {
    await withNetwork({ loggers: [kFront] }, async (network) => {
      const client = await network.connectReady();
      assert.deepEqual(macs(client.info), [kFront.mac]);
      assert.equal(client.info.ksl_name, "");
      assert.equal(
        await client.rawAnswer('{"command":"get_ksl_network"}'),
        answerText({ response: "get_ksl_network", ksl_network: [], status: "OK" }),
      );
    });
  });
});

describe("a state of the local logger", kSideBySide, () => {
  test("1-config closes the connection; 8-loggerOff, 3-stop and others do not", async () => {
    await withNetwork({}, async (network) => {
      const [front, rear] = network.loggers;
      const client = await network.connectReady();
      for (const state of ["8-loggerOff", "3-stop", "2-run"]) await front.tell(state);
      for (const text of ["logger is off message: ", "stop message: "]) {
        await until(`"${text}" is logged`, () => network.apache.log.text.includes(`KLV::handleMessages() ${text}`));
      }
      await rear.tell("1-config"); // another logger's business
      await assertNothingElseComes(client);
      assert.ok(client.open);
      await front.tell("1-config");
      assert.equal((await client.closed()).code, 1001);
      assert.ok(network.apache.log.text.includes("KLV::handleMessages() config message: "));
      assert.equal((await network.connectReady()).info.configs.length, 3);
    });
  });
});
