//! A program with enums that carry data, traits, generics and closures.

#[derive(Debug, Clone)]
enum Room {
    Empty,
    Named(String),
    Sized { width: u32, depth: i64 },
}

trait Area {
    fn area(&self) -> i64;
}

impl Area for Room {
    fn area(&self) -> i64 {
        match self {
            Room::Empty => 0,
            Room::Named(name) => name.len() as i64,
            Room::Sized { width, depth } => i64::from(*width) * depth,
        }
    }
}

struct House<T: Area, const N: usize> {
    rooms: Vec<T>,
    levels: [u16; N],
}

impl<T: Area, const N: usize> House<T, N> {
    #[inline(never)]
    fn total(&self) -> i64 {
        let level: i64 = self.levels.iter().map(|&level| i64::from(level)).sum();
        self.rooms.iter().map(Area::area).sum::<i64>() + level
    }
}

fn main() {
    let rooms = vec![Room::Empty, Room::Named("hall".into()), Room::Sized { width: 3, depth: -4 }];
    let house = House { rooms, levels: [1, 2, 3] };
    std::process::exit((house.total() & 1) as i32);
}
