// host.rs: a host for the Linkwell agent; numbers are steps of the reference sequence in docs/wire-protocol.md.
// "host LinkwellAgent.exe [ARGUMENTS...]" starts the agent, prints each item that it sends, and ends when it ends.
// Left out: to keep the contacts, and to tell their ten fields of text apart where one of them holds a ";".
mod win32;
use std::{env, error::Error, ffi::CStr, io, io::Write, process::Command, ptr::null_mut, thread};
use win32::*;

/// 1: one of four instances, for this user alone. The first one fails where another program serves the pipe already.
unsafe fn create(first: bool) -> io::Result<isize> {
    let (mut user, mut size, mut sid, mut made) = ([0; 32], 0, null_mut() as _, 0);
    check(GetTokenInformation(PROCESS_TOKEN, TOKEN_USER, user.as_mut_ptr(), 256, &mut size))?;
    check(ConvertSidToStringSidA(user[0], &mut sid))?;
    let list = format!("D:P(A;;GA;;;{})\0", CStr::from_ptr(sid).to_string_lossy());
    check(ConvertStringSecurityDescriptorToSecurityDescriptorA(list.as_ptr(), SDDL_REVISION_1, &mut made, null_mut()))?;
    let access = SecurityAttributes { size: 24, descriptor: made, inherit: 0 };
    let mode = PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | if first { FILE_FLAG_FIRST_PIPE_INSTANCE } else { 0 };
    let name = b"\\\\.\\pipe\\CorvenaLinkwell\0".as_ptr();
    let pipe = CreateNamedPipeA(name, mode, PIPE_REJECT_REMOTE_CLIENTS, 4, 4096, 4096, 5000, &access);
    check((pipe != INVALID_HANDLE_VALUE).into()).map(|()| pipe)
}

/// Makes an overlapped call and waits for its end. One that takes too long is cancelled, and lets go of its buffer.
unsafe fn run(pipe: isize, ms: u32, start: impl FnOnce(*mut Overlapped) -> i32) -> io::Result<usize> {
    let (mut call, mut bytes) = (Overlapped::default(), 0);
    let started = start(&mut call) != 0 || io::Error::last_os_error().raw_os_error() == Some(ERROR_IO_PENDING);
    let end = check((started && GetOverlappedResultEx(pipe, &call, &mut bytes, ms, 0) != 0).into());
    if end.is_err() {
        CancelIoEx(pipe, &call);
        GetOverlappedResultEx(pipe, &call, &mut bytes, INFINITE, 0);
    }
    end.map(|()| bytes as usize)
}

unsafe fn serve(pipe: isize) -> io::Result<()> {
    let (mut message, mut piece) = (vec![], vec![0; 65536]);
    let read = |to: &mut [u8]| run(pipe, 5000, |call| ReadFile(pipe, to.as_mut_ptr(), to.len() as u32, null_mut(), call));
    run(pipe, INFINITE, |call| ConnectNamedPipe(pipe, call)).ok(); // 2; fails where a client was there first
    while message.len() < 4 || message.len() - 4 < u32::from_be_bytes(message[..4].try_into().unwrap()) as usize {
        let bytes = read(&mut piece)?; // 3
        message.extend(&piece[..bytes]);
    }
    take(&String::from_utf8_lossy(&message[4..])); // 4
    run(pipe, 5000, |call| WriteFile(pipe, b"ack".as_ptr(), 3, null_mut(), call))?; // 5
    read(&mut piece).ok(); // 6: fails when the client has closed
    Ok(())
}

/// Prints the items: a deletion is a line; a contact goes on to one that ends in two EntryIds, the second its folder's.
fn take(text: &str) {
    let (header, lines) = text.split_once('\n').unwrap_or((text, ""));
    if !["2;snapshot;c", "2;add;c", "2;change;c", "2;delete;"].iter().any(|known| header.starts_with(known)) {
        return eprintln!("not known, so what is shown may be old: {header}");
    }
    let (mut item, mut semicolons, mut out) = (vec![], 0, io::stdout().lock()); // one message at a time
    for line in lines.split('\n').filter(|line| !line.is_empty() || !header.starts_with("2;delete;")) {
        item.push(line);
        semicolons += line.matches(';').count();
        let ends: Vec<&str> = line.rsplitn(3, ';').collect();
        let is_id = |id: &str| id.len() >= 10 && id.len() % 2 == 0 && id.bytes().all(|c| b"0123456789ABCDEF".contains(&c));
        let fits = |id: &&str| is_id(id) || (semicolons == 11 && id.is_empty());
        if header.starts_with("2;delete;") || (semicolons >= 11 && ends.len() == 3 && ends[..2].iter().all(fits)) {
            writeln!(out, "{header}: {}", item.join("\n")).ok();
            (item, semicolons) = (vec![], 0);
        }
    }
    if !item.is_empty() { writeln!(out, "{header}, and not to be read: {}", item.join("\n")).ok(); }
}

fn main() -> Result<(), Box<dyn Error>> {
    let mut words = env::args_os().skip(1);
    let agent = words.next().ok_or("usage: host LinkwellAgent.exe [ARGUMENTS...]")?;
    for pipe in (0..4).map(|at| unsafe { create(at == 0) }).collect::<Result<Vec<_>, _>>()? {
        thread::spawn(move || loop {
            unsafe { serve(pipe) }.unwrap_or_else(|error| eprintln!("of a client nothing counts: {error}"));
            unsafe { DisconnectNamedPipe(pipe) }; // 7
        });
    }
    println!("The agent has ended: {}", Command::new(agent).args(words).status()?);
    Ok(())
}
