// MCP clients nobody here wrote, against velmora-server: the SDK 1.x in the path form and
// the bearer form, and the 2.x client in both of its negotiation modes.
// Usage: node interop.mjs BASE_URL TOKEN
import assert from 'node:assert/strict';
import * as sdk1 from '@modelcontextprotocol/sdk/client/index.js';
import * as http1 from '@modelcontextprotocol/sdk/client/streamableHttp.js';

const [base, token] = process.argv.slice(2);
const text = (result) => result.content[0].text;

async function exercise(client, label) {
  const tools = (await client.listTools()).tools.map((t) => t.name).sort();
  assert.deepEqual(tools, ['add_item', 'get_briefing', 'get_document', 'get_proposal_status',
    'get_usage', 'put_proposal'], label);
  const document = JSON.parse(text(await client.callTool({ name: 'get_document',
    arguments: { include_dismissed: true } })));
  assert.ok(Array.isArray(document.rejections), label);
  const filed = await client.callTool({ name: 'put_proposal', arguments: { agent: label,
    deltas: [{ kind: 'add', item: { title: `From ${label}`, section: 'action',
      channel: 'email', priority: 'medium', links: [] } }] } });
  assert.match(text(filed), /Nothing has been applied yet/, label);
  assert.match(text(await client.callTool({ name: 'get_proposal_status', arguments: {} })),
    new RegExp(`from ${label}`), label);
  const added = await client.callTool({ name: 'add_item', arguments: { title: 'Unblock Lee',
    section: 'action', priority: 'high', initiated: 'auto', source_id: 'interop' } });
  assert.ok(!added.isError, label);
  assert.ok((await client.callTool({ name: 'get_briefing', arguments: {} })).content, label);
  assert.match(text(await client.callTool({ name: 'get_usage', arguments: {} })), /used today/);
  const refused = await client.callTool({ name: 'add_item', arguments: { title: 'x' } });
  assert.equal(refused.isError, true, label);
  const guide = await client.readResource({ uri: 'guide://velmora' });
  assert.match(guide.contents[0].text, /When add_item is right/, label);
  assert.match(client.getInstructions(), /put_proposal/, label);
  await client.close();
}

async function refusedToken(connect, label) {
  await assert.rejects(connect(), (error) => error.code === 401 || error.data?.status === 401 ||
    /\b401\b|nauthori/.test(String(error)), label);
}

const bearer = (value) => ({ requestInit: { headers: { Authorization: `Bearer ${value}` } } });
const info = { name: 'velmora-interop', version: '1.0.0' };

// SDK 1.x: the Connection URL with the token, then the URL without it and a bearer token.
for (const [label, url, options] of [['sdk1-path', `${base}/mcp/${token}`, {}],
  ['sdk1-bearer', `${base}/mcp`, bearer(token)]]) {
  const client = new sdk1.Client(info);
  await client.connect(new http1.StreamableHTTPClientTransport(new URL(url), options));
  assert.equal(client.getServerVersion().name, 'velmora-server');
  await exercise(client, label);
}
await refusedToken(() => new sdk1.Client(info).connect(
  new http1.StreamableHTTPClientTransport(new URL(`${base}/mcp/vl-wrong`))), 'sdk1 path');
await refusedToken(() => new sdk1.Client(info).connect(
  new http1.StreamableHTTPClientTransport(new URL(`${base}/mcp`), bearer('vl-wrong'))),
'sdk1 bearer');

// Client 2.x: the 2025 handshake by default, 2026-07-28 when it negotiates. It needs Node 20.
if (Number(process.versions.node.split('.')[0]) < 20) {
  console.log(`interop: client 2.x skipped on Node ${process.versions.node}`);
  process.exit(0);
}
const sdk2 = await import('@modelcontextprotocol/client');
for (const [mode, era] of [['legacy', 'legacy'], ['auto', 'modern']]) {
  const client = new sdk2.Client(info, { versionNegotiation: { mode } });
  await client.connect(new sdk2.StreamableHTTPClientTransport(new URL(`${base}/mcp/${token}`)));
  assert.equal(client.getProtocolEra(), era, mode);
  await exercise(client, `client2-${mode}`);
}
await refusedToken(() => new sdk2.Client(info, { versionNegotiation: { mode: 'auto' } }).connect(
  new sdk2.StreamableHTTPClientTransport(new URL(`${base}/mcp/vl-wrong`))), 'client2');
console.log('interop: all clients passed');
