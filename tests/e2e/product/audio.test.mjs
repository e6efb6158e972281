// Audio files: from a browser by way of the upload directory to the logger, which keeps them.
import assert from "node:assert/strict";
import { createHash, randomBytes } from "node:crypto";
import { chmodSync, lstatSync, mkdtempSync, readFileSync, readdirSync, rmSync, symlinkSync, unlinkSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, afterEach, before, describe, test } from "node:test";
import { answerText, errorText, okText, requestText } from "../../kit/js/answers.mjs";
import { noSmallDisk, onSmallDisk } from "../../kit/js/configurations.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import { until } from "../../kit/js/wait.mjs";
import * as paths from "../../kit/js/paths.mjs";

const kUploads = "/tmp"; // the plug-in's own
const kNote = { name: "note", file_extension: "wav", marker_id: "m1", start_time: 10, end_time: 4294967295 };
const kNoteText = "name: note; file_extension: wav; start_time: 10; marker_id: m1; end_time: 4294967295;";
const kNoUpload = 'no audioFileInfo available, send command "upload_audio_file" first';
const kSound = Buffer.from("RIFF\0\r\n\xff\xfe", "latin1");

const withInfo = (info, more) => answerText({ response: "upload_audio_file", ...info, ...more });
const waiting = (info = kNote) => withInfo(info, { status: "WAITING_FOR_DATA" });
const stored = (info = kNote) => withInfo(info, { status: "OK" });
const kNothingPending = errorText("upload_audio_file", "internal_error", "no audio upload in progress.");
const otherUpload = (pending) => ({
  status: "ERROR",
  error_code: "other_data_upload",
  error_msg: `other data upload in progress: ${pending}`,
});

// A logger with an audio directory, Apache, and a client whose every frame is looked at.
class Setup {
  constructor(scenario) {
    this.home = mkdtempSync(path.join(os.tmpdir(), "live-view-kept-"));
    this.description = { ...kLoggers[0], scenario, args: [["--audio", this.home]] };
  }

  async start() {
    this.network = await Network.start({ loggers: [this.description] });
    this.network.expectInLog(
      // every answer that is an error is logged as one
      /^\[ERROR\] KLV::addStatus\(\) \{$/,
      /^\[ERROR\] KLV::(addKrpStatus|addKrpErrorCode)\(\) KRP (message|status): /,
      /^\[ERROR\] KLV::uploadAudioFile\(\) other data upload in progress: /,
      /^\[ERROR\] KLV::wa_binary_handle_message\(\) no audioFileInfo available/,
      /^\[(ERROR|WARNING)\] KLV::(parseString|parseUint|createAndSendJSON_parsingError)\(\) /,
      /^\}: no entry for (audio_file|marker_id|name|start_time)$/,
    );
    await this.newClient();
  }

  async stop() {
    await this.network?.stop();
    rmSync(this.home, { recursive: true });
    for (const name of this.uploads()) unlinkSync(path.join(kUploads, name));
  }

  async newClient() {
    this.client?.terminate();
    this.client = await this.network.connectReady();
    this.client.skipAll();
  }

  announce(info = kNote) {
    this.client.send({ command: "upload_audio_file", ...info });
  }

  // The text of the next frame, whatever it is.
  async next(timeout) {
    return this.client.textOf(await this.client.next(timeout));
  }

  async nextAre(...texts) {
    for (const text of texts) assert.equal(await this.next(), text);
  }

  async upload(data, info = kNote) {
    this.announce(info);
    await this.nextAre(waiting(info));
    this.client.send(data);
    await this.nextAre(stored(info));
    return this.list();
  }

  // The list that comes without a request after each answer of the logger.
  async list() {
    const answer = await this.client.next();
    assert.deepEqual(Object.keys(answer), ["response", "audio_list", "status"]);
    assert.deepEqual([answer.response, answer.status], ["get_audio_list", "OK"]);
    return answer.audio_list;
  }

  async nothingElseComes() {
    this.client.send({ command: "ping" });
    await this.nextAre(okText("ping"));
  }

  // What is on the logger's disk.
  kept(name) {
    return readFileSync(path.join(this.home, "files", name));
  }

  // What lies in the upload directory, by the names that the plug-in gives.
  uploads() {
    return readdirSync(kUploads).filter((name) => /^\d+(\.\w+)?$/.test(name));
  }
}

// One file system for all: one test after the other.
function suite(name, scenario, body) {
  describe(name, () => {
    const setup = new Setup(scenario);
    before(() => setup.start());
    afterEach(() => setup.newClient()); // its process has no upload pending
    after(() => setup.stop());
    body(setup);
  });
}

suite("an audio file", {}, (setup) => {
  test("is announced, uploaded, taken over by the logger and listed", async () => {
    const list = await setup.upload(kSound);
    assert.equal(list.length, 1);
    const [{ name, ...rest }] = list;
    assert.deepEqual(rest, { marker_id: "m1", start_time: 10, end_time: 4294967295 });
    assert.match(name, /^\d+\.wav$/);
    assert.deepEqual(setup.kept(name), kSound);
    assert.deepEqual(setup.uploads(), []);
    await setup.nothingElseComes();

    const text = setup.client.textOf(await setup.client.ask("get_audio_list"));
    assert.equal(text, answerText({ response: "get_audio_list", audio_list: list, status: "OK" }));
  });

  test("may be empty, and needs no extension", async () => {
    const info = { ...kNote, file_extension: "" };
    setup.client.send({ command: "upload_audio_file", ...info, file_extension: undefined });
    await setup.nextAre(waiting(info));
    setup.client.send(Buffer.alloc(0));
    await setup.nextAre(stored(info));
    const { name } = (await setup.list()).at(-1);
    assert.match(name, /^\d+$/);
    assert.equal(setup.kept(name).length, 0);
  });

  test("may be 30 MB", async () => {
    const data = randomBytes(30_000_000);
    const { name } = (await setup.upload(data, { ...kNote, file_extension: "raw" })).at(-1);
    const hash = (bytes) => createHash("sha256").update(bytes).digest("hex");
    assert.equal(hash(setup.kept(name)), hash(data));
    assert.deepEqual(setup.uploads(), []);
  });

  test("is not announced twice: the second gets an answer of its own, and the first stays", async () => {
    const other = { name: "other", file_extension: "ogg", marker_id: "m2", start_time: 1, end_time: 2 };
    setup.announce();
    setup.announce(other);
    await setup.nextAre(waiting(), withInfo(other, otherUpload(kNoteText)));
    setup.client.send(kSound);
    await setup.nextAre(stored());
    assert.equal((await setup.list()).at(-1).marker_id, "m1");
  });

  test("is given up when text comes that is no request, with two answers", async () => {
    setup.announce();
    await setup.nextAre(waiting());
    setup.network.expectInLog(
      /^\[ERROR\] KLV::wa_setup_document\(\) failed to parse webapp buffer: /,
      /^\[ERROR\] KLV::wa_handle_message\(\) Received a string message: hello$/,
      /^ Expected a binary data upload\.$/,
      /^ Canceling data upload progress: name: note; /,
    );
    setup.client.send("hello");
    await setup.nextAre(
      errorText("undef_cmd", "invalid_command", "Invalid value. At Position: 0. (hello)"),
      withInfo(kNote, {
        status: "ERROR",
        error_code: "other_data_upload",
        error_msg: `Received a string message: hello\n Expected a binary data upload.\n Canceling data upload progress: ${kNoteText}`,
      }),
    );
    setup.client.send(kSound);
    await setup.nextAre(errorText("upload_audio_file", "no_data_upload", kNoUpload));
  });

  test("stays announced while other commands come", async () => {
    setup.announce();
    await setup.nextAre(waiting());
    setup.client.send({ command: "get_audio_list" });
    await setup.list();
    setup.client.send({ command: "dance" });
    await setup.nextAre(errorText("dance", "invalid_command"));
    setup.client.send(kSound);
    await setup.nextAre(stored());
    await setup.list();
  });

  test("is not taken without an announcement", async () => {
    setup.client.send(kSound);
    await setup.nextAre(errorText("upload_audio_file", "no_data_upload", kNoUpload));
    await setup.upload(kSound); // and the announcement of an upload that is complete has gone
    setup.client.send(kSound);
    await setup.nextAre(errorText("upload_audio_file", "no_data_upload", kNoUpload));
    assert.deepEqual(setup.uploads(), []);
  });

  test("can be cancelled: two answers with one announced, one without", async () => {
    const kLast = okText("cancel_data_upload");
    setup.announce();
    await setup.nextAre(waiting());
    setup.client.send({ command: "cancel_data_upload" });
    await setup.nextAre(answerText({ response: "cancel_data_upload", status: "OK", error_msg: kNoteText }), kLast);
    setup.client.send({ command: "cancel_data_upload" });
    await setup.nextAre(kLast);
    await setup.nothingElseComes();
    await setup.upload(kSound);
  });

  test("is refused without its members, and may then be announced", async () => {
    const request = { command: "upload_audio_file", name: "note", marker_id: "m1", end_time: 1 };
    setup.client.send(request);
    await setup.nextAre(errorText("upload_audio_file", "invalid_command", `no entry for 'start_time'. (${requestText(request)})`));
    await setup.upload(kSound);
  });

  test("of the logger gets another span and marker when it is set", async () => {
    const { name } = (await setup.upload(kSound)).at(-1);
    const span = { start_time: 77, end_time: 78, marker_id: "moved" };
    setup.client.send({ command: "set_audio_file", audio_file: name, ...span });
    await setup.nextAre(okText("set_audio_file"));
    assert.deepEqual(
      (await setup.list()).find((file) => file.name === name),
      { name, marker_id: "moved", start_time: 77, end_time: 78 },
    );
  });

  test("that the logger does not have cannot be set", async () => {
    setup.client.send({ command: "set_audio_file", audio_file: "none", start_time: 1, end_time: 2, marker_id: "m" });
    await setup.nextAre(
      answerText({
        response: "set_audio_file",
        status: "ERROR",
        krp_status: "ERROR",
        error_code: "krpbus_error",
        krp_error_code: "KRPERROR_NOT_FOUND",
        krp_error_description: 'there is no audio file "none"',
      }),
    );
    await setup.list();
  });

  test("without a marker is refused and set all the same", async () => {
    const { name } = (await setup.upload(kSound)).at(-1);
    const request = { command: "set_audio_file", audio_file: name, start_time: 1, end_time: 2 };
    setup.client.send(request);
    await setup.nextAre(
      errorText("set_audio_file", "invalid_command", `no entry for 'marker_id'. (${requestText(request)})`),
      okText("set_audio_file"),
    );
    assert.equal((await setup.list()).find((file) => file.name === name).marker_id, "");
  });

  test("has its answer told apart by the last command, also by one that was refused", async () => {
    setup.announce();
    await setup.nextAre(waiting());
    const request = { command: "set_audio_file" };
    setup.client.send(request);
    await setup.nextAre(errorText("set_audio_file", "invalid_command", `no entry for 'audio_file'. (${requestText(request)})`));
    setup.client.send(kSound);
    await setup.nextAre(okText("set_audio_file"));
    await setup.list();
    // The upload is therefore still pending, and a refused announcement turns the answers round again.
    setup.announce();
    await setup.nextAre(withInfo(kNote, otherUpload(kNoteText)));
    setup.client.send(kSound);
    await setup.nextAre(stored());
    await setup.list();
  });

  test("is listed again after the logger was started anew", async () => {
    const before = await setup.upload(kSound);
    const [logger] = setup.network.loggers.splice(0, 1);
    await logger.stop();
    await setup.network.addLogger(setup.description);
    await setup.newClient();
    setup.client.send({ command: "get_audio_list" });
    assert.deepEqual(await setup.list(), before);
    assert.deepEqual(setup.kept(before.at(-1).name), kSound);
  });
});

suite("an upload directory that does not take a file", {}, (setup) => {
  const unableToOpen = (name) =>
    new RegExp(
      `^\\{\\n    "response": "upload_audio_file",\\n    "status": "ERROR",\\n    "error_code": "other_data_upload",\\n    "error_msg": "Unable to open file /tmp/${name}"\\n\\}$`,
    );

  // Announces and sends; the answer, an error, leaves the upload pending.
  async function fails(data) {
    setup.announce();
    await setup.nextAre(waiting());
    setup.client.send(data);
    assert.match(await setup.next(), unableToOpen("\\d+\\.wav"));
    setup.announce();
    await setup.nextAre(withInfo(kNote, otherUpload(kNoteText)));
  }

  async function staysPending() {
    setup.client.send(kSound);
    await setup.nextAre(stored());
    await setup.list();
  }

  test(
    "since nobody may write there is reported, and the upload can be sent again",
    { skip: !paths.isolated && "no /tmp of its own" },
    async () => {
      chmodSync(kUploads, 0o555);
      try {
        await fails(kSound);
      } finally {
        chmodSync(kUploads, 0o1777);
      }
      await staysPending();
    },
  );

  test("since it is full is reported, and the upload can be sent again", { skip: noSmallDisk }, async () => {
    await onSmallDisk(kUploads, 64, async () => {
      await fails(Buffer.alloc(200_000));
      assert.deepEqual(setup.uploads(), []);
    });
    await staysPending();
  });
});

suite("a logger that never answers", { requests: { 87: { answers: 0 } } }, (setup) => {
  test("leaves the upload announced until it is cancelled", async () => {
    setup.announce();
    await setup.nextAre(waiting());
    setup.client.send(kSound);
    await until("the file", () => setup.uploads().length === 1);
    assert.deepEqual(readFileSync(path.join(kUploads, setup.uploads()[0])), kSound);
    setup.announce();
    await setup.nextAre(withInfo(kNote, otherUpload(kNoteText)));
    setup.client.send({ command: "cancel_data_upload" });
    await setup.next();
    await setup.nextAre(okText("cancel_data_upload"));
    setup.announce();
    await setup.nextAre(waiting());
  });

  // The stored name comes from the second of the announcement.
  test("does not make two uploads of one second follow a link of somebody else", async () => {
    const victim = path.join(setup.home, "victim");
    writeFileSync(victim, "untouched");
    chmodSync(victim, 0o666);
    chmodSync(setup.home, 0o777);
    const fileOf = async (info) => {
      setup.announce(info);
      await setup.nextAre(waiting(info));
      setup.client.send(kSound);
    };
    const cancel = async () => {
      setup.client.send({ command: "cancel_data_upload" });
      await setup.next();
      await setup.nextAre(okText("cancel_data_upload"));
    };
    const info = { ...kNote, file_extension: "link" };
    await until(
      "two announcements within one second",
      async () => {
        for (const name of setup.uploads()) unlinkSync(path.join(kUploads, name));
        await fileOf(info);
        const file = path.join(kUploads, await until("the file", () => setup.uploads().find((name) => name.endsWith(".link"))));
        await cancel();
        unlinkSync(file);
        symlinkSync(victim, file);
        await fileOf(info);
        // Either it meets the link, and nothing is sent to the logger, or the second has turned.
        const answered = setup.client.next(300).then(
          (answer) => answer.error_msg,
          () => null,
        );
        const met = (await answered) === `Unable to open file ${file}`;
        await cancel();
        assert.equal(lstatSync(file).isSymbolicLink(), true);
        return met;
      },
      30_000,
    );
    assert.equal(readFileSync(victim, "utf8"), "untouched");
  });

  test("sees the second of two uploads of one second in the place of the first", async () => {
    const info = { ...kNote, file_extension: "twice" };
    await until(
      "two announcements within one second",
      async () => {
        for (const name of setup.uploads()) unlinkSync(path.join(kUploads, name));
        for (const data of ["a longer first one", "second"]) {
          setup.announce(info);
          await setup.nextAre(waiting(info));
          setup.client.send(Buffer.from(data));
          setup.client.send({ command: "cancel_data_upload" });
          await setup.next();
          await setup.nextAre(okText("cancel_data_upload"));
        }
        return setup.uploads().length === 1;
      },
      30_000,
    );
    assert.equal(readFileSync(path.join(kUploads, setup.uploads()[0]), "utf8"), "second");
  });
});

suite("a logger that answers twice", { requests: { 87: { answers: 2 } } }, (setup) => {
  test("completes the upload once", async () => {
    setup.announce();
    await setup.nextAre(waiting());
    setup.client.send(kSound);
    await setup.nextAre(stored(), kNothingPending);
    assert.deepEqual(await setup.list(), await setup.list());
    await setup.nothingElseComes();
  });
});

suite("a logger that answers late", { requests: { 87: { delay: "700ms" } } }, (setup) => {
  test("completes the upload then", async () => {
    await setup.upload(kSound);
  });

  test("finds an upload gone that was cancelled meanwhile", async () => {
    setup.announce();
    await setup.nextAre(waiting());
    setup.client.send(kSound);
    setup.client.send({ command: "cancel_data_upload" });
    await setup.next();
    await setup.nextAre(okText("cancel_data_upload"), kNothingPending);
    await setup.list();
  });

  test("completes an upload whose data has not come, when its answer was to something before", async () => {
    setup.client.send({ command: "set_audio_file", audio_file: "none", start_time: 1, end_time: 2, marker_id: "m" });
    setup.announce();
    await setup.nextAre(waiting());
    const answer = await setup.client.next();
    assert.deepEqual([answer.response, answer.name, answer.krp_error_code], ["upload_audio_file", "note", "KRPERROR_NOT_FOUND"]);
    await setup.list();
    setup.client.send(kSound);
    await setup.nextAre(errorText("upload_audio_file", "no_data_upload", kNoUpload));
  });
});

suite(
  "a logger that fails",
  { requests: { 86: { status: 3, error_code: 3, description: "no list" }, 87: { status: 2, error_code: 6 } } },
  (setup) => {
    test("ends the upload with its error, and its list is left out", async () => {
      setup.network.expectInLog(/^\[ERROR\] KLV::handleMessages\(\) /);
      setup.announce();
      await setup.nextAre(waiting());
      setup.client.send(kSound);
      await setup.nextAre(
        withInfo(kNote, { status: "ERROR", krp_status: "ERROR", error_code: "krpbus_error", krp_error_code: "KRPERROR_NO_RESOURCES" }),
        answerText({
          response: "get_audio_list",
          status: "ERROR",
          krp_status: "KRPSTATUS_NOTAVAILABLE",
          error_code: "krpbus_error",
          krp_error_code: "KRPERROR_NOT_ALLOWED",
          krp_error_description: "no list",
        }),
      );
      setup.client.send(kSound);
      await setup.nextAre(errorText("upload_audio_file", "no_data_upload", kNoUpload));
    });
  },
);
