// orrel-sentry-opencode-plugin 3
// Installed by Orrel Sentry, which replaces it with newer versions of itself. To keep changes of
// your own, copy it under another name first.
//
// Tells herdr, on this opencode's pane, where opencode's own server listens, which session the
// pane works in and with which model. Orrel Sentry then reads and answers the session's
// permissions and questions over that server instead of pressing keys in the pane. The tokens
// expire on their own, so an opencode that dies without clearing them leaves nothing behind for
// long. Plain JavaScript syntax, so that node can load it as well as opencode.
import { execFile, spawn } from "node:child_process"

const SOURCE = "orrel-sentry:opencode"
const TOKENS = ["opencode_url", "opencode_session", "opencode_model"]
const TTL_MS = 10 * 60 * 1000
const REFRESH_MS = 4 * 60 * 1000
const RETRY_MS = 2000
const PROBE_TIMEOUT_MS = 2000
// opencode runs plugins in a worker that ends without any exit event, so a small shell outlives
// it, waits for the process to go and clears the tokens then; a crash is covered as well.
const WATCH = [
  // A process that ended but was not reaped yet still answers kill -0.
  'alive() { kill -0 "$1" 2>/dev/null || return 1; [ -r "/proc/$1/status" ] || return 0',
  '! grep -q "^State:[[:space:]]*Z" "/proc/$1/status"; }',
  'while alive "$0"; do sleep 1; done; exec "$@"',
].join("; ")
const WATCHING = Symbol.for("orrel-sentry.opencode.watching")

// The pane this opencode runs in, from what herdr puts in every pane's environment.
function herdrPane(env) {
  const pane = (env.HERDR_PANE_ID || "").trim()
  if (!pane) return null
  return { bin: (env.HERDR_BIN_PATH || "").trim() || "herdr", pane }
}

// opencode's own server address, or null while that server does not listen: opencode then makes
// up http://localhost:4096, a new object at each read, where another opencode may well listen.
function listeningServer(context) {
  const server = context.serverUrl
  return server && server === context.serverUrl ? server : null
}

// The server's address as a reader on this machine reaches it, or null for anything that is not
// plain http on a loopback address: a token never sends a session's data to another machine.
function loopbackURL(url) {
  let parsed
  try {
    parsed = new URL(String(url))
  } catch {
    return null
  }
  if (parsed.protocol !== "http:" || parsed.username || parsed.password) return null
  let host = parsed.hostname
  if (host === "0.0.0.0") host = "127.0.0.1"
  else if (host === "[::]") host = "[::1]"
  if (!["127.0.0.1", "localhost", "[::1]"].includes(host)) return null
  return `http://${host}${parsed.port ? ":" + parsed.port : ""}`
}

// "provider/model" of a message record, from either of the shapes opencode gives it.
function modelOf(info) {
  const model = info && info.model
  const provider = (model && model.providerID) || (info && info.providerID)
  const id = (model && model.modelID) || (info && info.modelID)
  return provider && id ? `${provider}/${id}` : null
}

// The arguments of herdr's CLI that set the tokens, or clear them all when `state` is null.
function reportArguments(pane, state) {
  const args = ["pane", "report-metadata", pane, "--source", SOURCE]
  if (!state) {
    for (const name of TOKENS) args.push("--clear-token", name)
    return args
  }
  args.push("--token", `opencode_url=${state.url}`, "--token", `opencode_session=${state.session}`)
  if (state.model) args.push("--token", `opencode_model=${state.model}`)
  else args.push("--clear-token", "opencode_model")
  args.push("--ttl-ms", String(TTL_MS))
  return args
}

// Follows opencode's events to the session the pane works in: the newest top-level session
// with activity. Sessions that a task started under another have a parent and are skipped.
class SessionTracker {
  constructor() {
    this.session = null
    this.model = null
    this.children = new Set()
  }

  // True when what would be published changed.
  observe(event) {
    const props = (event && event.properties) || {}
    const before = `${this.session} ${this.model}`
    switch (event && event.type) {
      case "session.created":
      case "session.updated": {
        const info = props.info || {}
        if (info.parentID) this.children.add(info.id)
        else if (event.type === "session.created" && info.id) this.select(info.id)
        break
      }
      case "session.deleted": {
        const info = props.info || {}
        if (info.id === this.session) {
          this.session = null
          this.model = null
        }
        break
      }
      case "message.updated": {
        const info = props.info || {}
        if (info.sessionID && !this.children.has(info.sessionID)) {
          this.select(info.sessionID)
          this.model = modelOf(info) || this.model
        }
        break
      }
      case "session.status":
      case "permission.asked":
      case "question.asked":
        if (props.sessionID && !this.children.has(props.sessionID)) this.select(props.sessionID)
        break
    }
    return before !== `${this.session} ${this.model}`
  }

  select(session) {
    if (session === this.session) return
    this.session = session
    this.model = null
  }
}

async function serverAnswers(url) {
  try {
    const response = await fetch(`${url}/path`, { signal: AbortSignal.timeout(PROBE_TIMEOUT_MS) })
    return response.ok
  } catch {
    return false
  }
}

// `serverUrl` is read at each use: opencode knows it only once its server listens.
export const OrrelSentryPlugin = async (context) => {
  const pane = herdrPane(process.env)
  if (!pane) return {}
  const tracker = new SessionTracker()
  let published = null // the arguments herdr last took
  let retry = null

  const report = (args) =>
    new Promise((resolve) => {
      execFile(pane.bin, args, { timeout: 5000 }, (error) => resolve(!error))
    })

  const later = () => {
    retry = setTimeout(() => publish(false), RETRY_MS)
    retry.unref?.()
  }

  const publish = async (force) => {
    if (retry) clearTimeout(retry)
    retry = null
    // A deleted session leaves nothing to answer through; its tokens would point at it.
    if (!tracker.session) return clear()
    // The server may not listen yet, or opencode may run without one.
    const server = listeningServer(context)
    if (!server) return later()
    const url = loopbackURL(server)
    if (!url) return
    if (!(await serverAnswers(url))) return later()
    const args = reportArguments(pane.pane, { url, session: tracker.session, model: tracker.model })
    const key = args.join("\u0000")
    if (!force && key === published) return
    if (await report(args)) published = key
  }

  const clear = () => {
    if (published === null) return
    published = null
    report(reportArguments(pane.pane, null))
  }

  const refresh = setInterval(() => publish(true), REFRESH_MS)
  refresh.unref?.()
  // Once a process, however many instances opencode makes of its plugins.
  if (!globalThis[WATCHING]) {
    globalThis[WATCHING] = true
    try {
      const args = [String(process.pid), pane.bin, ...reportArguments(pane.pane, null)]
      spawn("/bin/sh", ["-c", WATCH, ...args], { detached: true, stdio: "ignore" }).unref()
    } catch {}
  }

  return {
    event: async ({ event }) => {
      if (event.type === "server.instance.disposed" || event.type === "global.disposed") {
        clear()
        return
      }
      if (tracker.observe(event)) await publish(false)
    },
  }
}
