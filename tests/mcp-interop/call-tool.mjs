// One tool call through the MCP SDK 1.x, in the Connection URL form; prints the
// CallToolResult as JSON. The C++ review test files its proposals through it.
// Usage: node call-tool.mjs BASE_URL TOKEN TOOL ARGUMENTS_JSON
import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StreamableHTTPClientTransport } from '@modelcontextprotocol/sdk/client/streamableHttp.js';

const [base, token, name, args] = process.argv.slice(2);
const client = new Client({ name: 'velmora-review', version: '1.0.0' });
await client.connect(new StreamableHTTPClientTransport(new URL(`${base}/mcp/${token}`)));
const result = await client.callTool({ name, arguments: JSON.parse(args) });
await client.close();
process.stdout.write(JSON.stringify(result));
