// Stands in for opencode 1.18 around one plugin file: imports it, calls every export with the input
// opencode hands its plugins, then carries out commands, one JSON object a line on standard input,
// answering each with a line on standard output once done:
//   {"listen": URL}   opencode's own server now listens at URL
//   {"event": EVENT}  EVENT reaches every plugin's event hook, which is awaited
//   {"exit": CODE}    the process ends at once, as opencode does, without telling its plugins
// The first line it writes tells its pid and the hooks each export returned.
//
// argv: the plugin file, then options as JSON: `fallback`, the address opencode makes up while its
// server does not listen; `reroute`, a port on 127.0.0.1 that every fetch of the plugin reaches
// instead of the host it named, which goes along in the x-requested header.
import { createInterface } from "node:readline"
import { pathToFileURL } from "node:url"

const [pluginPath, optionsText] = process.argv.slice(2)
const options = JSON.parse(optionsText || "{}")
let listening = null

if (options.reroute) {
  const realFetch = globalThis.fetch
  globalThis.fetch = (input, init = {}) => {
    const url = new URL(String(input))
    const headers = { ...init.headers, "x-requested": url.href }
    const target = new URL(`${url.pathname}${url.search}`, `http://127.0.0.1:${options.reroute}`)
    return realFetch(target, { ...init, headers })
  }
}

const input = {
  client: {},
  project: { id: "fake", worktree: process.cwd() },
  directory: process.cwd(),
  worktree: process.cwd(),
  experimental_workspace: { register() {} },
  get serverUrl() {
    return listening ?? new URL(options.fallback || "http://localhost:4096")
  },
  $: undefined,
}

const plugin = await import(pathToFileURL(pluginPath).href)
const instances = []
const exports = {}
for (const [name, make] of Object.entries(plugin)) {
  const hooks = await make(input)
  instances.push(hooks)
  exports[name] = Object.keys(hooks)
}
process.stdout.write(JSON.stringify({ pid: process.pid, exports }) + "\n")

for await (const line of createInterface({ input: process.stdin })) {
  const command = JSON.parse(line)
  if ("exit" in command) process.exit(command.exit)
  if (command.listen) listening = new URL(command.listen)
  if (command.event) {
    await Promise.all(instances.map((hooks) => hooks.event?.({ event: command.event })))
  }
  process.stdout.write(JSON.stringify({ done: true }) + "\n")
}
