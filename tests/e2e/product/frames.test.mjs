// What comes back for frames that hold no proper command, and for frames at the edge of what is taken.
import assert from "node:assert/strict";
import { after, before, describe, test } from "node:test";
import { errorText, okText, requestText } from "../../kit/js/answers.mjs";
import { Network } from "../../kit/js/network.mjs";

const kMaxTextSize = 4 * 1024 * 1024;

let network;

before(async () => {
  network = await Network.start();
  network.expectInLog(
    /^\[ERROR\] KLV::wa_setup_document\(\) /,
    /^\[ERROR\] KLV::createAndSendJSON_parsingError\(\) value of 'command' must be a string /,
    /^\[ERROR\] KLV::parseCommand\(\) failed to parse webapp command \{/,
    /^\[ERROR\] KLV::wa_binary_handle_message\(\) no audioFileInfo available, send command "upload_audio_file" first$/,
  );
});

after(() => network?.stop());

function undefined_(description) {
  return errorText("undef_cmd", "invalid_command", description);
}

describe("a frame that cannot be read", () => {
  const cases = [
    ["an empty frame", "", "no data received"],
    ["the word undefined", "undefined", '"undefined" received'],
    ["the empty object", "{}", "{} received"],
    ["blanks alone", "   ", "The document is empty. At Position: 3. (   )"],
    [
      "something behind the object",
      '{"command":"ping"} x',
      'The document root must not follow by other values. At Position: 19. ({"command":"ping"} x)',
    ],
    ["no JSON value", '{"command":x}', 'Invalid value. At Position: 11. ({"command":x})'],
    ["a member without a name", "{1:2}", "Missing a name for object member. At Position: 1. ({1:2})"],
    [
      "a member without a colon",
      '{"command" "ping"}',
      'Missing a colon after a name of object member. At Position: 11. ({"command" "ping"})',
    ],
    [
      "members without a comma",
      '{"command":"ping" 1}',
      `Missing a comma or '}' after an object member. At Position: 18. ({"command":"ping" 1})`,
    ],
    [
      "elements without a comma",
      '{"command":[1 2]}',
      `Missing a comma or ']' after an array element. At Position: 14. ({"command":[1 2]})`,
    ],
    [
      "a wrong hex digit",
      '{"command":"\\u12g4"}',
      'Incorrect hex digit after \\u escape in string. At Position: 12. ({"command":"\\u12g4"})',
    ],
    [
      "half a surrogate pair",
      '{"command":"\\ud800x"}',
      'The surrogate pair in string is invalid. At Position: 12. ({"command":"\\ud800x"})',
    ],
    ["an unknown escape", '{"command":"\\x"}', 'Invalid escape character in string. At Position: 12. ({"command":"\\x"})'],
    ["a string without an end", '{"command":"ping', 'Missing a closing quotation mark in string. At Position: 16. ({"command":"ping)'],
    [
      "a control character in a string",
      '{"command":"a\u0001"}',
      'Invalid escape character in string. At Position: 13. ({"command":"a\u0001"})',
    ],
    ["too large a number", '{"n":1e999}', 'Number too big to be stored in double. At Position: 5. ({"n":1e999})'],
    ["a number without its fraction", '{"n":1.}', 'Miss fraction part in number. At Position: 7. ({"n":1.})'],
    ["a number without its exponent", '{"n":1e}', 'Miss exponent in number. At Position: 7. ({"n":1e})'],
    [
      "a NUL byte in a string",
      '{"command":"pi\0ng"}',
      'Missing a closing quotation mark in string. At Position: 14. ({"command":"pi\0ng"})',
    ],
    ["an array", '["command"]', 'failed to parse webapp buffer, no object available. (["command"])'],
    ["a string", '"ping"', 'failed to parse webapp buffer, no object available. ("ping")'],
    ["null", "null", "failed to parse webapp buffer, no object available. (null)"],
  ];

  for (const [name, frame, description] of cases) {
    test(`${name} is answered with its text`, async () => {
      const client = await network.connect();
      assert.equal(await client.rawAnswer(frame), undefined_(description));
      assert.equal(await client.rawAnswer('{"command":"ping"}'), okText("ping"));
    });
  }

  test("100 000 opening brackets are answered, and the connection lives on", async () => {
    const client = await network.connect();
    client.send("[".repeat(100_000));
    const answer = await client.next();
    assert.equal(answer.response, "undef_cmd");
    assert.equal(answer.status, "ERROR");
    assert.equal(answer.error_code, "invalid_command");
    assert.equal(answer.error_msg, "arrays and objects are nested deeper than 32 levels");
    assert.equal(await client.rawAnswer('{"command":"ping"}'), okText("ping"));
  });

  test("100 000 nested objects are answered, and the connection lives on", async () => {
    const client = await network.connect();
    client.send('{"a":'.repeat(100_000));
    const answer = await client.next();
    assert.equal(answer.response, "undef_cmd");
    assert.equal(answer.error_code, "invalid_command");
    assert.equal(answer.error_msg, "arrays and objects are nested deeper than 32 levels");
    assert.equal(await client.rawAnswer('{"command":"ping"}'), okText("ping"));
  });
});

describe("a frame without a proper command", () => {
  const values = [
    [null, "Null."],
    [false, "False."],
    [true, "True."],
    [{ a: 1 }, "Object."],
    [[1], "Array."],
    [7, "Number. IsUint32: 1. IsDouble: 0"],
    [-7, "Number. IsUint32: 0. IsDouble: 0"],
    [2.5, "Number. IsUint32: 0. IsDouble: 1"],
  ];

  for (const [value, told] of values) {
    test(`the command ${JSON.stringify(value)} is answered with its type`, async () => {
      const client = await network.connect();
      const request = { command: value };
      assert.equal(
        await client.rawAnswer(JSON.stringify(request)),
        undefined_(`value of 'command' must be a string .  You send a ${told} . (${requestText(request)})`),
      );
    });
  }

  test("a missing command is answered with the request", async () => {
    const client = await network.connect();
    const request = { Command: "ping", x: [1, { y: null }] };
    assert.equal(await client.rawAnswer(JSON.stringify(request)), undefined_(`no command name found. (${requestText(request)})`));
  });

  test("an empty object with a blank in it has no command", async () => {
    const client = await network.connect();
    assert.equal(await client.rawAnswer("{ }"), undefined_("no command name found. ({})"));
  });

  test("an unknown command waits for logger info at first and is invalid afterwards", async () => {
    const client = await network.connect();
    assert.equal(await client.rawAnswer('{"command":"dance"}'), errorText("dance", "wait for logger info"));
    const ready = await network.connectReady();
    assert.equal(await ready.rawAnswer('{"command":"dance"}'), errorText("dance", "invalid_command"));
  });

  test("a command ends at its first zero byte", async () => {
    const client = await network.connectReady();
    assert.equal(await client.rawAnswer('{"command":"ping\\u0000pong"}'), okText("ping"));
  });

  test("a binary frame without an announced upload is answered", async () => {
    const client = await network.connect();
    client.send(Buffer.from([1, 2, 3]));
    assert.equal(
      client.textOf(await client.next()),
      errorText("upload_audio_file", "no_data_upload", 'no audioFileInfo available, send command "upload_audio_file" first'),
    );
  });
});

describe("the transport", () => {
  test("a message in fragments, with a ping in between, arrives whole", async () => {
    const client = await network.connect();
    client.sendFragment('{"comm', false);
    assert.equal(await client.ping("between"), "between");
    client.sendFragment('and":"pi', false);
    client.sendFragment('ng"}', true);
    network.apache.log.addSent('{"command":"ping"}');
    assert.equal(client.textOf(await client.next()), okText("ping"));
  });

  test("a text of the greatest size is answered", async () => {
    const client = await network.connect();
    const command = '{"command":"ping"}';
    assert.equal(await client.rawAnswer(command.padEnd(kMaxTextSize), 20_000), okText("ping"));
  });

  test("one byte more closes with 1009, and the server lives on", async () => {
    const client = await network.connect();
    client.send('{"command":"ping"}'.padEnd(kMaxTextSize + 1));
    assert.equal((await client.closed()).code, 1009);
    const next = await network.connectReady();
    assert.equal(next.info.configs.length, 3);
  });

  test("ill-formed text closes with 1007, and the server lives on", async () => {
    const client = await network.connect();
    client.sendFragment(Buffer.from([0x22, 0xc0, 0xaf, 0x22]), true);
    assert.equal((await client.closed()).code, 1007);
    const next = await network.connectReady();
    assert.equal(next.info.configs.length, 3);
  });
});
