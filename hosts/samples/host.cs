// host.cs: a host in C#; numbers are steps of the reference sequence in docs/wire-protocol.md. NOT RUN: see README.md.
// "host LinkwellAgent.exe [ARGUMENTS...]" starts the agent, prints each item that it sends, and ends when it ends.
// Left out: to keep the contacts, and to tell their ten fields of text apart where one of them holds a ";".
using System;
using System.Diagnostics;
using System.IO;
using System.IO.Pipes;
using System.Linq;
using System.Security.Principal;
using System.Text;
using System.Text.RegularExpressions;
using System.Threading;
using System.Threading.Tasks;

static class Host {
    static NamedPipeServerStream Create() { // 1: for this user alone; .NET gives it the time-out 0
        var list = new PipeSecurity();
        list.AddAccessRule(new PipeAccessRule(WindowsIdentity.GetCurrent().User, PipeAccessRights.FullControl, 0)); // Allow
#if NET // 5 and later; from 8 on, the first instance can have PipeOptions.FirstPipeInstance as well
        return NamedPipeServerStreamAcl.Create(
#else
        return new NamedPipeServerStream(
#endif
            "CorvenaLinkwell", PipeDirection.InOut, -1, PipeTransmissionMode.Byte, PipeOptions.Asynchronous, 0, 0, list);
    }

    static async Task Serve(NamedPipeServerStream pipe) {
        for (NamedPipeServerStream next = null; ; pipe = next ?? Create(), next = null) {
            try {
                await pipe.WaitForConnectionAsync(); // 2
                next = Create(); // before anything is read: when the agent has written, it looks for another that is free
                long length = (await Read(pipe, 4)).Aggregate(0L, (sum, part) => sum * 256 + part); // 3
                string text = Encoding.UTF8.GetString(await Read(pipe, length));
                lock (Console.Out) Take(text); // 4
                await pipe.WriteAsync(new[] { (byte)'a', (byte)'c', (byte)'k' }, 0, 3); // 5
                await Task.WhenAny(pipe.ReadAsync(new byte[1], 0, 1), Task.Delay(5000)); // 6
            } catch (Exception error) { Console.Error.WriteLine("of a client nothing counts: " + error.Message); }
            pipe.Dispose(); // 7
        }
    }

    static async Task<byte[]> Read(Stream pipe, long count) {
        var bytes = new MemoryStream(); // grows with what comes: a length alone proves nothing
        var piece = new byte[65536];
        while (bytes.Length < count)
            using (var end = new CancellationTokenSource(5000)) {
                int read = await pipe.ReadAsync(piece, 0, (int)Math.Min(piece.Length, count - bytes.Length), end.Token);
                bytes.Write(piece, 0, read > 0 ? read : throw new EndOfStreamException());
            }
        return bytes.ToArray();
    }

    // Prints the items: a deletion is a line; a contact goes on to one that ends in two EntryIds, the second its folder's.
    static void Take(string text) {
        string[] lines = text.Split('\n');
        var header = Regex.Match(lines[0], "^2;((snapshot|add|change);contact|(delete);(contact|folder));");
        if (!header.Success) { Console.Error.WriteLine("not known, so what is shown may be old: " + lines[0]); return; }
        var item = new StringBuilder();
        int semicolons = 0;
        foreach (string line in lines.Skip(1).Where(line => line != "" || !header.Groups[3].Success)) {
            item.Append(line);
            semicolons += line.Count(letter => letter == ';');
            string id = semicolons == 11 ? ";(([0-9A-F]{2}){5,})?" : ";([0-9A-F]{2}){5,}";
            if (header.Groups[3].Success || (semicolons >= 11 && Regex.IsMatch(line, id + id + "$"))) {
                Console.WriteLine(lines[0] + ": " + item);
                item.Clear();
                semicolons = 0;
            } else item.Append('\n');
        }
        if (item.Length > 0) Console.Write(lines[0] + ", and not to be read: " + item);
    }

    static void Main(string[] words) {
        Console.OutputEncoding = Encoding.UTF8;
        if (words.Length == 0) { Console.Error.WriteLine("usage: host LinkwellAgent.exe [ARGUMENTS...]"); return; }
        foreach (var pipe in Enumerable.Range(0, 4).Select(_ => Create()).ToList()) Task.Run(() => Serve(pipe));
        Process.Start(words[0], string.Join(" ", words.Skip(1).Select(word => "\"" + word + "\""))).WaitForExit();
        Console.WriteLine("The agent has ended");
    }
}
