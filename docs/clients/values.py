#!/usr/bin/python3
# Prints five values of the first signal: values.py ws://127.0.0.1:8080/live
import asyncio, json, sys, websockets

async def main():
    async with websockets.connect(sys.argv[1], subprotocols=["kr-webapp-v1"], max_size=None) as live:
        async def ask(command, wanted=None, **members):
            await live.send(json.dumps({"command": command, **members}))
            while (frame := json.loads(await live.recv()))["response"] != (wanted or command) or frame["status"] == "ERROR": pass
            return frame
        while (await ask("get_logger_info"))["status"] != "OK": await asyncio.sleep(1)
        while not (frame := await ask("get_signal_names"))["Streams"]: pass
        value = await ask("generic_start_sig", "generic_sig_value", signal_key=frame["Streams"][0]["signal_key"], interval=100)
        for _ in range(5):
            print(value["signal_key"][0], value["value"], flush=True)
            while (value := json.loads(await live.recv()))["response"] != "generic_sig_value": pass

asyncio.run(main())
